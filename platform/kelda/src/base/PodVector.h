#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace kelda
{

/// An allocator whose resize() leaves new plain elements as they are: what follows is a block read over them.
template <class T>
class UninitializedAllocator : public std::allocator<T>
{
public:
    template <class U>
    struct rebind {
        using other = UninitializedAllocator<U>;
    };
    UninitializedAllocator() = default;
    template <class U>
    UninitializedAllocator(const UninitializedAllocator<U>&)
    {
    }
    template <class U>
    void construct(U* at)
    {
        ::new (static_cast<void*>(at)) U;
    }
    template <class U, class... Args>
    void construct(U* at, Args&&... args)
    {
        ::new (static_cast<void*>(at)) U(std::forward<Args>(args)...);
    }
};

/// A vector of plain numbers; resize(n) does not zero.
template <class T>
using PodVector = std::vector<T, UninitializedAllocator<T>>;

} // namespace kelda
