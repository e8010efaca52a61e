#pragma once

#include <OpenSG/OSGFieldContainerHandle.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

OSG_BEGIN_NAMESPACE

/// Memory of a multi field whose values may be moved as bytes. It grows with realloc: large blocks are moved
/// by remapping their pages, so that doubling neither copies them nor holds both copies at once.
template <class ValueT>
class BlockStore
{
public:
    BlockStore() : _data(nullptr), _size(0), _capacity(0) {}
    BlockStore(const BlockStore& other) : BlockStore() { append(other._data, other._size); }
    ~BlockStore() { std::free(_data); }
    BlockStore& operator=(const BlockStore& other)
    {
        if (this != &other) {
            _size = 0;
            append(other._data, other._size);
        }
        return *this;
    }

    ValueT* data() { return _data; }
    const ValueT* data() const { return _data; }
    UInt32 size() const { return _size; }
    UInt32 capacity() const { return _capacity; }

    void push_back(const ValueT& value)
    {
        if (_size == _capacity) {
            const ValueT copy = value; // may be an element of this field
            grow(std::size_t(_size) + 1);
            new (_data + _size) ValueT(copy);
        } else {
            new (_data + _size) ValueT(value);
        }
        ++_size;
    }
    void reserve(UInt32 count)
    {
        if (count > _capacity) {
            reallocate(count);
        }
    }
    void resize(UInt32 count, const ValueT& value)
    {
        const UInt32 old = _size;
        if (count > old) {
            const ValueT copy = value;
            resizeForOverwrite(count);
            std::uninitialized_fill(_data + old, _data + count, copy);
        }
        _size = count;
    }
    void resizeForOverwrite(UInt32 count)
    {
        if (count > _capacity) {
            // A first size is taken as it is: most fields are sized once.
            if (_capacity == 0) {
                reallocate(count);
            } else {
                grow(count);
            }
        }
        _size = count;
    }
    /// Opens \a count places at \a pos; their content is not initialised.
    void open(UInt32 pos, UInt32 count)
    {
        const UInt32 tail = _size - pos;
        if (std::size_t(_size) + count > _capacity) {
            grow(std::size_t(_size) + count);
        }
        if (tail != 0) {
            std::memmove(static_cast<void*>(_data + pos + count), static_cast<void*>(_data + pos),
                         std::size_t(tail) * sizeof(ValueT));
        }
        _size += count;
    }
    void close(UInt32 pos, UInt32 count)
    {
        const UInt32 tail = _size - pos - count;
        if (tail != 0) {
            std::memmove(static_cast<void*>(_data + pos), static_cast<void*>(_data + pos + count),
                         std::size_t(tail) * sizeof(ValueT));
        }
        _size -= count;
    }
    void shrink()
    {
        if (_size == 0) {
            std::free(_data);
            _data = nullptr;
            _capacity = 0;
        } else if (_size < _capacity) {
            reallocate(_size);
        }
    }
    void swap(BlockStore& other)
    {
        std::swap(_data, other._data);
        std::swap(_size, other._size);
        std::swap(_capacity, other._capacity);
    }

private:
    void append(const ValueT* values, UInt32 count)
    {
        if (count != 0) {
            reserve(_size + count);
            std::memcpy(static_cast<void*>(_data + _size), static_cast<const void*>(values),
                        std::size_t(count) * sizeof(ValueT));
            _size += count;
        }
    }
    void grow(std::size_t needed)
    {
        std::size_t capacity = std::size_t(_capacity) * 2;
        capacity = std::max(capacity, needed);
        capacity = std::max(capacity, std::size_t(4));
        // Sizes are 32 bits wide.
        if (needed > 0xffffffffu) {
            throw std::bad_alloc();
        }
        reallocate(UInt32(std::min(capacity, std::size_t(0xffffffffu))));
    }
    void reallocate(UInt32 capacity)
    {
        void* const moved = std::realloc(static_cast<void*>(_data), std::size_t(capacity) * sizeof(ValueT));
        if (!moved) {
            throw std::bad_alloc();
        }
        _data = static_cast<ValueT*>(moved);
        _capacity = capacity;
    }

    ValueT* _data;
    UInt32 _size;
    UInt32 _capacity;
};

/// Memory of a multi field whose values need their constructors (strings, volumes).
template <class ValueT>
class ObjectStore
{
public:
    ValueT* data() { return _values.data(); }
    const ValueT* data() const { return _values.data(); }
    UInt32 size() const { return UInt32(_values.size()); }
    UInt32 capacity() const { return UInt32(_values.capacity()); }
    void push_back(const ValueT& value) { _values.push_back(value); }
    void reserve(UInt32 count) { _values.reserve(count); }
    void resize(UInt32 count, const ValueT& value) { _values.resize(count, value); }
    void resizeForOverwrite(UInt32 count) { _values.resize(count); }
    void open(UInt32 pos, UInt32 count) { _values.insert(_values.begin() + pos, count, ValueT()); }
    void close(UInt32 pos, UInt32 count)
    {
        _values.erase(_values.begin() + pos, _values.begin() + pos + count);
    }
    void shrink() { _values.shrink_to_fit(); }
    void swap(ObjectStore& other) { _values.swap(other._values); }

private:
    std::vector<ValueT> _values;
};

/// An array of values of a container. Indices are not checked.
template <class ValueT, int Variant>
class MField : public Field
{
public:
    typedef ValueT StoredType;
    typedef ValueT value_type;
    typedef FieldTraits<ValueT, Variant> Traits;
    typedef ValueT* iterator;
    typedef const ValueT* const_iterator;
    typedef ValueT& reference;
    typedef const ValueT& const_reference;

    MField() {}
    explicit MField(UInt32 count) { resize(count); }

    static const FieldType& getClassType()
    {
        static const FieldType type(FieldType::MULTI_FIELD, Traits::name(), sizeof(ValueT),
                                    Traits::containerClass());
        return type;
    }
    const FieldType& getType() const override { return getClassType(); }

    // -- Elements --

    UInt32 getSize() const override { return _store.size(); }
    UInt32 size() const { return _store.size(); }
    UInt32 capacity() const { return _store.capacity(); }
    bool empty() const { return _store.size() == 0; }

    ValueT& operator[](UInt32 i) { return _store.data()[i]; }
    const ValueT& operator[](UInt32 i) const { return _store.data()[i]; }
    ValueT& getValue(UInt32 i) { return _store.data()[i]; }
    const ValueT& getValue(UInt32 i) const { return _store.data()[i]; }
    void setValue(const ValueT& value, UInt32 i) { _store.data()[i] = value; }
    ValueT& front() { return _store.data()[0]; }
    const ValueT& front() const { return _store.data()[0]; }
    ValueT& back() { return _store.data()[_store.size() - 1]; }
    const ValueT& back() const { return _store.data()[_store.size() - 1]; }

    iterator begin() { return _store.data(); }
    iterator end() { return _store.data() + _store.size(); }
    const_iterator begin() const { return _store.data(); }
    const_iterator end() const { return _store.data() + _store.size(); }
    ValueT* data() { return _store.data(); }
    const ValueT* data() const { return _store.data(); }

    /// The field itself, under the names of the original's accessors of its values.
    MField& getValues() { return *this; }
    const MField& getValues() const { return *this; }
    void setValues(const MField& other) { *this = other; }

    iterator find(const ValueT& value) { return std::find(begin(), end(), value); }
    const_iterator find(const ValueT& value) const { return std::find(begin(), end(), value); }

    // -- Changes --

    void push_back(const ValueT& value) { _store.push_back(value); }
    void addValue(const ValueT& value) { _store.push_back(value); }
    void pop_back() { _store.close(_store.size() - 1, 1); }
    void clear() { _store.close(0, _store.size()); }
    void reserve(std::size_t count) { _store.reserve(checked(count)); }
    void resize(std::size_t count, const ValueT& value = ValueT()) { _store.resize(checked(count), value); }
    /// New elements are not initialised (default-made where the type needs it): the caller writes all of
    /// them.
    ValueT* resizeForOverwrite(std::size_t count)
    {
        _store.resizeForOverwrite(checked(count));
        return _store.data();
    }
    void shrink() { _store.shrink(); }
    void swap(MField& other) { _store.swap(other._store); }

    iterator insert(iterator pos, const ValueT& value)
    {
        const UInt32 i = UInt32(pos - begin());
        const ValueT copy = value;
        _store.open(i, 1);
        assignNew(_store.data() + i, copy);
        return begin() + i;
    }
    template <class InputItT>
    void insert(iterator pos, InputItT first, InputItT last)
    {
        const UInt32 i = UInt32(pos - begin());
        const std::vector<ValueT> copies(first, last);
        _store.open(i, checked(copies.size()));
        for (std::size_t k = 0; k < copies.size(); ++k) {
            assignNew(_store.data() + i + k, copies[k]);
        }
    }
    template <class InputItT>
    void assign(InputItT first, InputItT last)
    {
        clear();
        insert(begin(), first, last);
    }
    iterator erase(iterator pos)
    {
        const UInt32 i = UInt32(pos - begin());
        _store.close(i, 1);
        return begin() + i;
    }
    iterator erase(iterator first, iterator last)
    {
        const UInt32 i = UInt32(first - begin());
        _store.close(i, UInt32(last - first));
        return begin() + i;
    }

    bool operator==(const MField& other) const
    {
        return size() == other.size() && std::equal(begin(), end(), other.begin(), Traits::equal);
    }
    bool operator!=(const MField& other) const { return !(*this == other); }

    // -- Without the type --

    std::string& getValueByStr(std::string& text) const override
    {
        text.clear();
        for (UInt32 i = 0; i < size(); ++i) {
            if (i != 0) {
                text += ", ";
            }
            Traits::toText((*this)[i], text);
        }
        return text;
    }
    std::string& getValueByStr(std::string& text, UInt32 i) const
    {
        text.clear();
        Traits::toText((*this)[i], text);
        return text;
    }
    void pushValueByStr(const Char8* text) override
    {
        ValueT value = ValueT();
        if (text && Traits::fromText(value, text)) {
            push_back(value);
        }
    }
    void setAbstrValue(const Field& other) override
    {
        if (other.getType() == getClassType()) {
            *this = static_cast<const MField&>(other);
        }
    }
    bool equals(const Field& other) const override
    {
        return other.getType() == getClassType() && *this == static_cast<const MField&>(other);
    }

    UInt32 getContainerCount() const override { return Traits::IsHandle ? size() : 0; }
    FieldContainerPtr getContainer(UInt32 i) const override
    {
        return i < size() ? asContainer((*this)[i], HandleTag()) : FieldContainerPtr();
    }
    bool setContainer(const FieldContainerPtr& container, UInt32 i = 0) override
    {
        return i < size() && getClassType().accepts(container) &&
               assignHandle((*this)[i], container, HandleTag());
    }
    bool addContainer(const FieldContainerPtr& container) override
    {
        ValueT value = ValueT();
        if (!getClassType().accepts(container) || !assignHandle(value, container, HandleTag())) {
            return false;
        }
        push_back(value);
        return true;
    }

    const void* getBlock() const override { return Traits::IsBlock ? _store.data() : nullptr; }
    void* resizeBlock(UInt32 count) override { return Traits::IsBlock ? resizeForOverwrite(count) : nullptr; }

private:
    enum { IsMovable = int(Traits::IsBlock) | int(Traits::IsHandle) };
    typedef std::integral_constant<bool, bool(Traits::IsHandle)> HandleTag;
    typedef typename std::conditional<bool(IsMovable), BlockStore<ValueT>, ObjectStore<ValueT>>::type Store;

    static UInt32 checked(std::size_t count)
    {
        if (count > 0xffffffffu) {
            throw std::bad_alloc();
        }
        return UInt32(count);
    }
    static void assignNew(ValueT* place, const ValueT& value)
    {
        // Places opened in an ObjectStore hold objects; those of a BlockStore hold types without destructors.
        *place = value;
    }
    static FieldContainerPtr asContainer(const ValueT& value, std::true_type)
    {
        return FieldContainerPtr(value.getBaseCPtr());
    }
    static FieldContainerPtr asContainer(const ValueT&, std::false_type) { return FieldContainerPtr(); }
    static bool assignHandle(ValueT& value, const FieldContainerPtr& container, std::true_type)
    {
        value.setBaseCPtr(container.getBaseCPtr());
        return true;
    }
    static bool assignHandle(ValueT&, const FieldContainerPtr&, std::false_type) { return false; }

    Store _store;
};

OSG_END_NAMESPACE
