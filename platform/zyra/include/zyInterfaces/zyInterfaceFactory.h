#ifndef ZYINTERFACEFACTORY_H
#define ZYINTERFACEFACTORY_H

#include <zyInterfaces/zyInterfacesApi.h>

#include <typeindex>

/// Where modules find what the host implements: one object for each interface class, by the class's type
/// index.
///
/// A zyReferenceInterface is there from the start. Safe to use from several threads.
class ZYINTERFACES_API zyInterfaceFactory
{
public:
    /// The process's factory; never null.
    static zyInterfaceFactory* the();

    /// The object registered for the interface class `type`, to be cast to a pointer to exactly that class;
    /// null when there is none.
    void* get(const std::type_index& type) const;

    /// The same with the type put in and the cast made.
    template <class Interface>
    Interface* get() const
    {
        return static_cast<Interface*>(get(std::type_index(typeid(Interface))));
    }

    /// Registers the object for `Interface` in place of what was registered before; null removes it. The
    /// object is not owned: it must live until it is replaced, and as long as anyone keeps the pointer.
    /// @return what was registered before, or null.
    template <class Interface>
    Interface* set(Interface* object)
    {
        return static_cast<Interface*>(set(std::type_index(typeid(Interface)), object));
    }

private:
    zyInterfaceFactory();
    zyInterfaceFactory(const zyInterfaceFactory&) = delete;
    zyInterfaceFactory& operator=(const zyInterfaceFactory&) = delete;

    void* set(const std::type_index& type, void* object);
};

#endif
