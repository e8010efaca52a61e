#pragma once

#include <OpenSG/OSGBaseTypes.h>

#include <cstdint>
#include <memory>
#include <vector>

OSG_BEGIN_NAMESPACE

class FieldContainer;

/// Living containers by id. Ids grow and are never used again; a page of ids is given back when all of its
/// containers are dead, so the table stays proportional to what lives.
class ContainerTable
{
public:
    UInt32 add(FieldContainer* container)
    {
        const UInt32 id = _next++;
        const UInt32 page = id / PageSize;
        if (page == _pages.size()) {
            _pages.emplace_back(new Page());
        }
        _pages[page]->slots[id % PageSize] = hide(container);
        ++_pages[page]->alive;
        ++_alive;
        return id;
    }
    void remove(UInt32 id)
    {
        const UInt32 page = id / PageSize;
        _pages[page]->slots[id % PageSize] = 0;
        --_alive;
        if (--_pages[page]->alive == 0 && page + 1 != _pages.size()) {
            _pages[page].reset();
        }
    }
    FieldContainer* find(UInt32 id) const
    {
        const UInt32 page = id / PageSize;
        if (page >= _pages.size() || !_pages[page] || _pages[page]->slots[id % PageSize] == 0) {
            return nullptr;
        }
        return show(_pages[page]->slots[id % PageSize]);
    }
    UInt32 alive() const { return _alive; }

private:
    enum : UInt32 { PageSize = 1024 };
    struct Page {
        std::uintptr_t slots[PageSize] = {};
        UInt32 alive = 0;
    };

    // Addresses are kept inverted: the table owns nothing, and a leak checker must not take it for an owner.
    static std::uintptr_t hide(FieldContainer* container)
    {
        return ~reinterpret_cast<std::uintptr_t>(container);
    }
    static FieldContainer* show(std::uintptr_t slot) { return reinterpret_cast<FieldContainer*>(~slot); }

    std::vector<std::unique_ptr<Page>> _pages;
    UInt32 _next = 1;
    UInt32 _alive = 0;
};

OSG_END_NAMESPACE
