#include <zyInterfaces/zyInterfaceFactory.h>
#include <zyInterfaces/zyReferenceInterface.h>

#include <mutex>
#include <unordered_map>

namespace
{

struct Registry {
    std::mutex mutex;
    std::unordered_map<std::type_index, void*> objects;
    zyReferenceInterface referenceInterface;

    Registry() { objects.emplace(typeid(zyReferenceInterface), &referenceInterface); }
};

// Never destroyed: modules keep the pointers they found.
Registry& registry()
{
    static Registry& theRegistry = *new Registry;
    return theRegistry;
}

} // namespace

zyInterfaceFactory::zyInterfaceFactory() = default;

zyInterfaceFactory* zyInterfaceFactory::the()
{
    static zyInterfaceFactory factory;
    return &factory;
}

void* zyInterfaceFactory::get(const std::type_index& type) const
{
    Registry& all = registry();
    const std::lock_guard<std::mutex> lock(all.mutex);
    const auto found = all.objects.find(type);
    return found == all.objects.end() ? nullptr : found->second;
}

void* zyInterfaceFactory::set(const std::type_index& type, void* object)
{
    Registry& all = registry();
    const std::lock_guard<std::mutex> lock(all.mutex);
    const auto found = all.objects.find(type);
    void* const former = found == all.objects.end() ? nullptr : found->second;
    if (object != nullptr)
        all.objects[type] = object;
    else if (former != nullptr)
        all.objects.erase(found);
    return former;
}
