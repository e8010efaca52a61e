#pragma once

#include "kelda/KDagPath.h"

#include <memory>
#include <vector>

/// Paths. Copies share their elements until one of them changes, so that a long list costs nothing to hand
/// on.
class KDagPathArray
{
public:
    KDagPathArray() {}

    unsigned length() const { return _items ? static_cast<unsigned>(_items->size()) : 0; }
    const KDagPath& operator[](unsigned index) const { return (*_items)[index]; }
    void append(const KDagPath& path) { own().push_back(path); }
    void set(const KDagPath& path, unsigned index) { own()[index] = path; }
    void setLength(unsigned length) { own().resize(length); }
    void clear() { _items.reset(); }

    /// For the library: takes part in a list.
    explicit KDagPathArray(std::shared_ptr<std::vector<KDagPath>> items)
        : _items(static_cast<std::shared_ptr<std::vector<KDagPath>>&&>(items))
    {
    }

private:
    std::vector<KDagPath>& own()
    {
        if (!_items)
            _items = std::make_shared<std::vector<KDagPath>>();
        else if (_items.use_count() > 1)
            _items = std::make_shared<std::vector<KDagPath>>(*_items);
        return *_items;
    }

    std::shared_ptr<std::vector<KDagPath>> _items;
};
