#pragma once

#include <OpenSG/OSGGraphOp.h>

#include <map>

OSG_BEGIN_NAMESPACE

/// The graph operations of the process, by name.
class OSG_PLATFORM_API GraphOpFactory
{
public:
    static GraphOpFactory& the();

    GraphOpFactory(const GraphOpFactory&) = delete;
    GraphOpFactory& operator=(const GraphOpFactory&) = delete;

    /// \a prototype must outlive its registration.
    void registerOp(const GraphOp* prototype);
    void unRegisterOp(const GraphOp* prototype);
    /// New operation, owned by the caller; null for an unknown name.
    GraphOp* create(const Char8* name) const;

    const GraphOpFactory* operator->() const { return this; }
    GraphOpFactory* operator->() { return this; }

private:
    GraphOpFactory() {}

    std::map<std::string, const GraphOp*> _ops;
};

OSG_END_NAMESPACE
