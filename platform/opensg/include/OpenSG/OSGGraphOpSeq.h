#pragma once

#include <OpenSG/OSGGraphOp.h>

#include <memory>
#include <vector>

OSG_BEGIN_NAMESPACE

/// Graph operations that are run one after another. Owns its operations.
class OSG_PLATFORM_API GraphOpSeq
{
public:
    /// Empty.
    GraphOpSeq();
    /// \param params  as for setGraphOps
    explicit GraphOpSeq(const std::string& params);
    ~GraphOpSeq();
    GraphOpSeq(const GraphOpSeq&) = delete;
    GraphOpSeq& operator=(const GraphOpSeq&) = delete;

    /// Runs all operations in order, also those after one that failed; an operation may replace \a root. True
    /// if none failed.
    bool run(NodePtr& root);

    /// Replaces the operations: "Name(key=value,...) Name2()". Unknown names are left out with a warning.
    void setGraphOps(const std::string& params);
    /// Takes ownership.
    void addGraphOp(GraphOp* op);
    /// Takes \a op out and destroys it; nothing if it is not in the sequence.
    void removeGraphOp(GraphOp* op);
    void clearGraphOps();
    UInt16 getSize() const { return static_cast<UInt16>(_ops.size()); }
    /// Null if there is none.
    GraphOp* getGraphOp(UInt16 i);
    /// Replaces operation \a i, which is destroyed; false, and \a op stays the caller's, if there is none.
    bool setGraphOp(UInt16 i, GraphOp* op);

private:
    std::vector<std::unique_ptr<GraphOp>> _ops;
};

OSG_END_NAMESPACE
