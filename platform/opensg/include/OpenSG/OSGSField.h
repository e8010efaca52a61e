#pragma once

#include <OpenSG/OSGFieldContainerHandle.h>

#include <type_traits>

OSG_BEGIN_NAMESPACE

/// A single value of a container.
template <class ValueT, int Variant>
class SField : public Field
{
public:
    typedef ValueT StoredType;
    typedef FieldTraits<ValueT, Variant> Traits;

    SField() : _value() {}
    explicit SField(const ValueT& value) : _value(value) {}

    static const FieldType& getClassType()
    {
        static const FieldType type(FieldType::SINGLE_FIELD, Traits::name(), sizeof(ValueT),
                                    Traits::containerClass());
        return type;
    }
    const FieldType& getType() const override { return getClassType(); }
    UInt32 getSize() const override { return 1; }

    ValueT& getValue() { return _value; }
    const ValueT& getValue() const { return _value; }
    void setValue(const ValueT& value) { _value = value; }

    void setValueByStr(const Char8* text)
    {
        if (text) {
            Traits::fromText(_value, text);
        }
    }
    std::string& getValueByStr(std::string& text) const override
    {
        text.clear();
        Traits::toText(_value, text);
        return text;
    }
    void pushValueByStr(const Char8* text) override { setValueByStr(text); }
    void setAbstrValue(const Field& other) override
    {
        if (other.getType() == getClassType()) {
            _value = static_cast<const SField&>(other)._value;
        }
    }
    bool equals(const Field& other) const override
    {
        return other.getType() == getClassType() &&
               Traits::equal(_value, static_cast<const SField&>(other)._value);
    }

    UInt32 getContainerCount() const override { return Traits::IsHandle ? 1 : 0; }
    FieldContainerPtr getContainer(UInt32 i) const override
    {
        return i == 0 ? asContainer(_value, HandleTag()) : FieldContainerPtr();
    }
    bool setContainer(const FieldContainerPtr& container, UInt32 i = 0) override
    {
        return i == 0 && getClassType().accepts(container) && assign(_value, container, HandleTag());
    }
    bool addContainer(const FieldContainerPtr&) override { return false; }

    const void* getBlock() const override { return Traits::IsBlock ? &_value : nullptr; }
    void* resizeBlock(UInt32 count) override { return Traits::IsBlock && count == 1 ? &_value : nullptr; }

private:
    typedef std::integral_constant<bool, bool(Traits::IsHandle)> HandleTag;

    static FieldContainerPtr asContainer(const ValueT& value, std::true_type)
    {
        return FieldContainerPtr(value.getBaseCPtr());
    }
    static FieldContainerPtr asContainer(const ValueT&, std::false_type) { return FieldContainerPtr(); }
    static bool assign(ValueT& value, const FieldContainerPtr& container, std::true_type)
    {
        value.setBaseCPtr(container.getBaseCPtr());
        return true;
    }
    static bool assign(ValueT&, const FieldContainerPtr&, std::false_type) { return false; }

    ValueT _value;
};

OSG_END_NAMESPACE
