#include <OpenSG/OSGFieldTraits.h>

#include <OpenSG/OSGAttachmentContainer.h>
#include <OpenSG/OSGFieldContainer.h>

#include <charconv>
#include <cstring>

OSG_BEGIN_NAMESPACE

// -- To text ----------------------------------------------------------------------------------

template <class T>
static void numberToText(T value, std::string& text)
{
    char digits[64];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof(digits), value);
    text.append(digits, result.ptr);
}

void fieldToText(bool value, std::string& text)
{
    text += value ? "TRUE" : "FALSE";
}

void fieldToText(Int64 value, std::string& text)
{
    numberToText(value, text);
}

void fieldToText(UInt64 value, std::string& text)
{
    numberToText(value, text);
}

void fieldToText(Real32 value, std::string& text)
{
    numberToText(value, text);
}

void fieldToText(Real64 value, std::string& text)
{
    numberToText(value, text);
}

void fieldToText(const std::string& value, std::string& text)
{
    text += '"';
    for (const char c : value) {
        if (c == '"' || c == '\\') {
            text += '\\';
        }
        text += c;
    }
    text += '"';
}

void fieldToText(const Matrix& value, std::string& text)
{
    for (UInt32 row = 0; row < 4; ++row) {
        for (UInt32 column = 0; column < 4; ++column) {
            if (row != 0 || column != 0) {
                text += ' ';
            }
            fieldToText(value[column][row], text);
        }
    }
}

void fieldToText(const Quaternion& value, std::string& text)
{
    Vec3f axis;
    Real32 angle = 0;
    value.getValueAsAxisRad(axis, angle);
    for (UInt32 i = 0; i < 3; ++i) {
        fieldToText(axis[i], text);
        text += ' ';
    }
    fieldToText(angle, text);
}

void fieldToText(const DynamicVolume& value, std::string& text)
{
    Pnt3f min;
    Pnt3f max;
    value.getBounds(min, max);
    TupleFieldTraits<Pnt3f, Real32, Real32, 3>::toText(min, text);
    text += ' ';
    TupleFieldTraits<Pnt3f, Real32, Real32, 3>::toText(max, text);
}

void FieldContainerPtrTraits::toText(const FieldContainerPtrBase& value, std::string& text)
{
    if (!value) {
        text += "NULL";
        return;
    }
    text += value.getBaseCPtr()->getTypeName();
    text += ' ';
    fieldToText(UInt64(value.getFieldContainerId()), text);
}

void FieldTraits<AttachmentMap, 0>::toText(const AttachmentMap& value, std::string& text)
{
    const char* separator = "";
    for (const auto& entry : value) {
        text += separator;
        FieldContainerPtrTraits::toText(entry.second, text);
        separator = ", ";
    }
}

// -- From text --------------------------------------------------------------------------------

static const Char8* skipBlanks(const Char8* pos)
{
    return pos + std::strspn(pos, " \t\r\n,");
}

template <class T>
static bool numberFromText(T& value, const Char8*& pos)
{
    const Char8* first = skipBlanks(pos);
    const Char8* const last = first + std::strlen(first);
    if (*first == '+') {
        ++first;
    }
    T read;
    const std::from_chars_result result = std::from_chars(first, last, read);
    if (result.ec != std::errc()) {
        return false;
    }
    value = read;
    pos = result.ptr;
    return true;
}

bool fieldFromText(bool& value, const Char8*& pos)
{
    static const struct {
        const Char8* text;
        bool value;
    } words[] = {{"TRUE", true},   {"true", true},   {"1", true},
                 {"FALSE", false}, {"false", false}, {"0", false}};

    const Char8* const first = skipBlanks(pos);
    for (const auto& word : words) {
        const std::size_t length = std::strlen(word.text);
        if (std::strncmp(first, word.text, length) == 0) {
            value = word.value;
            pos = first + length;
            return true;
        }
    }
    return false;
}

bool fieldFromText(Int64& value, const Char8*& pos)
{
    return numberFromText(value, pos);
}

bool fieldFromText(UInt64& value, const Char8*& pos)
{
    return numberFromText(value, pos);
}

bool fieldFromText(Real32& value, const Char8*& pos)
{
    return numberFromText(value, pos);
}

bool fieldFromText(Real64& value, const Char8*& pos)
{
    return numberFromText(value, pos);
}

bool fieldFromText(std::string& value, const Char8*& pos)
{
    if (*skipBlanks(pos) != '"') {
        value = pos;
        pos += value.size();
        return true;
    }
    std::string read;
    for (const Char8* c = skipBlanks(pos) + 1; *c != '\0'; ++c) {
        if (*c == '"') {
            value.swap(read);
            pos = c + 1;
            return true;
        }
        if (*c == '\\' && c[1] != '\0') {
            ++c;
        }
        read += *c;
    }
    return false;
}

template <int Count>
static bool numbersFromText(Real32 (&values)[Count], const Char8*& pos)
{
    const Char8* next = pos;
    for (Real32& value : values) {
        if (!numberFromText(value, next)) {
            return false;
        }
    }
    pos = next;
    return true;
}

bool fieldFromText(Matrix& value, const Char8*& pos)
{
    Real32 rows[16];
    if (!numbersFromText(rows, pos)) {
        return false;
    }
    value.setValue(rows, false);
    return true;
}

bool fieldFromText(Quaternion& value, const Char8*& pos)
{
    Real32 axisAngle[4];
    if (!numbersFromText(axisAngle, pos)) {
        return false;
    }
    value.setValueAsAxisRad(axisAngle[0], axisAngle[1], axisAngle[2], axisAngle[3]);
    return true;
}

OSG_END_NAMESPACE
