#include <zyOpenSGExt/zyValuePair.h>

#include <algorithm>

namespace osg
{

OSG_FIELD_CONTAINER_INST(ValuePair, "ValuePair")

Int32 ValuePair::find(const std::string& key) const
{
    const std::size_t count = std::min(getKeys().size(), getValues().size());
    for (std::size_t i = 0; i < count; ++i) {
        if (getKeys()[i] == key)
            return static_cast<Int32>(i);
    }
    return -1;
}

void ValuePair::set(const std::string& key, const std::string& value)
{
    const CPEditor edit(getPtr(), KeysFieldMask | ValuesFieldMask);
    const Int32 i = find(key);
    if (i >= 0) {
        getValues()[static_cast<UInt32>(i)] = value;
        return;
    }
    const std::size_t count = std::min(getKeys().size(), getValues().size());
    getKeys().resize(count);
    getValues().resize(count);
    getKeys().push_back(key);
    getValues().push_back(value);
}

std::string ValuePair::get(const std::string& key) const
{
    const Int32 i = find(key);
    return i < 0 ? std::string() : getValues()[static_cast<UInt32>(i)];
}

bool ValuePair::has(const std::string& key) const
{
    return find(key) >= 0;
}

bool ValuePair::remove(const std::string& key)
{
    const Int32 i = find(key);
    if (i < 0)
        return false;
    const CPEditor edit(getPtr(), KeysFieldMask | ValuesFieldMask);
    getKeys().erase(getKeys().begin() + i);
    getValues().erase(getValues().begin() + i);
    return true;
}

} // namespace osg
