#pragma once

#include "io/SceneSink.h"

namespace kelda
{

/// Writes the form "ka": a script of the command language. Floats are the shortest texts that read back
/// exactly.
class AsciiWriter : public SceneSink
{
public:
    explicit AsciiWriter(Output& output) : _output(output) {}

    bool begin(int version) override;
    bool unit(LinearUnit unit) override;
    bool timeUnit(KTime::Unit unit) override;
    bool node(FileIndex index, const NodeType* type, std::string_view name, FileIndex parent,
              bool nameIsUnique) override;
    const NodeType* defaultNode(FileIndex index, std::string_view name) override;
    bool numbers(int attr, const double* values, int count) override;
    bool text(int attr, int32_t element, std::string_view value) override;
    bool mesh(MeshData& mesh) override;
    bool surface(SurfaceData& surface) override;
    bool curve(CurveData& curve) override;
    bool keys(KeyData& keys) override;
    bool instance(FileIndex child, FileIndex parent) override;
    bool parentOrder(FileIndex child, const FileIndex* parents, size_t count) override;
    bool member(FileIndex set, FileIndex node, uint32_t instance, const FaceSet* faces) override;
    bool connection(FileIndex source, std::string_view sourceAttr, FileIndex destination,
                    std::string_view destinationAttr) override;
    void leftOut(const std::string&) override {}
    bool end() override;

private:
    struct Written {
        std::string name;
        FileIndex parent; ///< the first one; kNoIndex: the world, or not in the DAG
        uint32_t number;  ///< among the createNode statements
        uint16_t depth;   ///< saturating
        bool nameIsUnique;
    };

    void reference(FileIndex index);
    void attrStart(int attr, int32_t element = -1);
    template <class Vector>
    bool array(const std::string& attr, const char* type, const Vector& values, size_t perLine);
    bool uvs(const std::string& attr, const UVSet& set);
    bool doubles(const char* attr, const PodVector<double>& values, size_t perLine);
    void finishMembers();
    void memberStart(FileIndex node, uint32_t instance);
    bool flush(size_t atLeast = 1 << 20);

    Output& _output;
    std::string _text; ///< not yet handed to the output
    std::vector<Written> _nodes;
    uint32_t _created = 0;
    const NodeType* _type = nullptr; ///< of the node given last
    bool _named = false;             ///< attributes of the node given last carry its name (default nodes)

    FileIndex _set = kNoIndex; ///< whose members the open statement lists; kNoIndex: none is open
    size_t _membersOnLine = 0;
};

} // namespace kelda
