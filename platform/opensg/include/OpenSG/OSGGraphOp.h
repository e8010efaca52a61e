#pragma once

#include <OpenSG/OSGNodePtr.h>

#include <string>

OSG_BEGIN_NAMESPACE

/// An operation on a whole scene graph, to be run when a file has been read. The library brings none of its
/// own.
class OSG_PLATFORM_API GraphOp
{
public:
    virtual ~GraphOp();

    /// Name by which sequences ask for the operation.
    virtual const Char8* getName() const = 0;
    /// New operation of the same class with default parameters; the caller owns it.
    virtual GraphOp* create() const = 0;
    /// Takes "key=value,key=value".
    virtual void setParams(const std::string& params) = 0;
    /// Works on \a root and what is below, and may replace it. False if it failed.
    virtual bool traverse(NodePtr& root) = 0;
};

OSG_END_NAMESPACE
