#pragma once

#include <vector>

/// What all arrays of the SDK have in common: a contiguous, growing sequence. Indices are not checked.
template <class T>
class KArray
{
public:
    KArray() {}
    explicit KArray(unsigned length) : _items(length) {}
    KArray(unsigned length, const T& value) : _items(length, value) {}
    KArray(const T* values, unsigned length) : _items(values, values + length) {}

    unsigned length() const { return static_cast<unsigned>(_items.size()); }
    void setLength(unsigned length) { _items.resize(length); } ///< new elements have the type's default value
    void setSizeIncrement(unsigned) {}                         ///< growth is geometric in any case
    void reserve(unsigned length) { _items.reserve(length); }
    void clear() { std::vector<T>().swap(_items); } ///< gives the memory back, too
    void append(const T& value) { _items.push_back(value); }
    void remove(unsigned index) { _items.erase(_items.begin() + static_cast<int>(index)); }
    template <class Iterator>
    void assign(Iterator first, Iterator last)
    {
        _items.assign(first, last);
    }

    const T& operator[](unsigned index) const { return _items[index]; }
    T& operator[](unsigned index) { return _items[index]; }
    const T* data() const { return _items.data(); }
    T* data() { return _items.data(); }

private:
    std::vector<T> _items;
};
