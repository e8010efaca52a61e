#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kelda
{

/// A hash map from 64-bit keys to 32-bit values: open addressing, linear probing, erasing without tombstones.
/// The key ~0 is not allowed.
class FlatMap
{
public:
    static constexpr uint32_t kNone = 0xffffffffu;
    using size_t = std::size_t;

    uint32_t find(uint64_t key) const
    {
        if (_slots.empty())
            return kNone;
        for (size_t i = home(key);; i = (i + 1) & _mask) {
            if (_slots[i].key == key)
                return _slots[i].value;
            if (_slots[i].key == kFree)
                return kNone;
        }
    }
    void set(uint64_t key, uint32_t value)
    {
        if ((_count + 1) * 2 > _slots.size())
            grow();
        size_t i = home(key);
        while (_slots[i].key != kFree && _slots[i].key != key)
            i = (i + 1) & _mask;
        if (_slots[i].key == kFree)
            ++_count;
        _slots[i] = {key, value};
    }
    void erase(uint64_t key)
    {
        if (_slots.empty())
            return;
        size_t hole = home(key);
        while (_slots[hole].key != key) {
            if (_slots[hole].key == kFree)
                return;
            hole = (hole + 1) & _mask;
        }
        --_count;
        // Later entries of the same run move back, unless that would put them before their home slot.
        for (size_t i = (hole + 1) & _mask; _slots[i].key != kFree; i = (i + 1) & _mask) {
            if (((i - home(_slots[i].key)) & _mask) >= ((i - hole) & _mask)) {
                _slots[hole] = _slots[i];
                hole = i;
            }
        }
        _slots[hole].key = kFree;
    }
    void clear()
    {
        _slots.clear();
        _count = 0;
    }
    size_t size() const { return _count; }

private:
    static constexpr uint64_t kFree = ~uint64_t(0);
    struct Slot {
        uint64_t key;
        uint32_t value;
    };
    size_t home(uint64_t key) const
    {
        key ^= key >> 32;
        key *= 0x9e3779b97f4a7c15u;
        return static_cast<size_t>(key >> 32) & _mask;
    }
    void grow()
    {
        std::vector<Slot> old(_slots.empty() ? 64 : _slots.size() * 2, Slot{kFree, 0});
        old.swap(_slots);
        _mask = _slots.size() - 1;
        _count = 0;
        for (const Slot& slot : old)
            if (slot.key != kFree)
                set(slot.key, slot.value);
    }

    std::vector<Slot> _slots;
    size_t _mask = 0;
    size_t _count = 0;
};

} // namespace kelda
