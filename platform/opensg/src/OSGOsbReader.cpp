#include "OSGOsbReader.h"

#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMField.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSField.h>
#include <OpenSG/OSGSceneFileHandler.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <istream>

OSG_BEGIN_NAMESPACE

OsbReader::OsbReader(const Char8* fileName, const OsbOptions& options)
    : _fileName(fileName != nullptr ? fileName : ""), _options(options)
{
}

OsbReader::~OsbReader()
{
    // Nothing references the root: it takes a reference to be released like the others.
    if (!_records.empty())
        addRefCP(_records.front().container);
    for (const Record& record : _records)
        subRefCP(record.container);
}

NodePtr OsbReader::read(std::istream& in)
{
    if (!load(in) || !readHeader() || !readRecords()) {
        SWARNING << _fileName << ": " << _error << std::endl;
        return NullFC;
    }
    resolveTargets();
    cutCircles();
    settleChildren();
    connect();
    return finish();
}

// -- Bytes ------------------------------------------------------------------------------------------

bool OsbReader::readU8(UInt8& value)
{
    if (left() < 1)
        return failAtEnd();
    value = _data[_pos++];
    return true;
}

bool OsbReader::readU16(UInt16& value)
{
    if (left() < 2)
        return failAtEnd();
    value = peekU16(_pos);
    _pos += 2;
    return true;
}

bool OsbReader::readU32(UInt32& value)
{
    if (left() < 4)
        return failAtEnd();
    value = peekU32(_pos);
    _pos += 4;
    return true;
}

bool OsbReader::readReal32(Real32& value)
{
    UInt32 bits = 0;
    if (!readU32(bits))
        return false;
    std::memcpy(&value, &bits, sizeof(value));
    return true;
}

// Length with the terminating zero, characters, zero. Some writers give the empty text the length 0.
bool OsbReader::readString(std::string_view& value)
{
    UInt32 length = 0;
    if (!readU32(length))
        return false;
    if (length > left())
        return fail("a text claims %u bytes, %zu are left", length, left());
    if (length == 0) {
        value = std::string_view("", 0);
        return true;
    }
    if (_data[_pos + length - 1] != 0)
        return fail("a text of %u bytes has no terminating zero", length);
    value = std::string_view(reinterpret_cast<const Char8*>(_data.get()) + _pos, length - 1);
    _pos += length;
    return true;
}

UInt32 OsbReader::peekU32(std::size_t position) const
{
    UInt32 value = 0;
    osbCopyUnits(&value, _data.get() + position, 1, 4);
    return value;
}

UInt16 OsbReader::peekU16(std::size_t position) const
{
    UInt16 value = 0;
    osbCopyUnits(&value, _data.get() + position, 1, 2);
    return value;
}

// -- Messages ---------------------------------------------------------------------------------------

bool OsbReader::fail(const Char8* format, ...)
{
    if (!_error.empty())
        return false;
    Char8 reason[256];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(reason, sizeof(reason), format, arguments);
    va_end(arguments);

    _error = "byte " + std::to_string(_pos) + ": ";
    if (!_context.empty())
        _error +=
            _context + (_field.empty() ? ": " : ", field \"" + std::string(_field.substr(0, 64)) + "\": ");
    _error += reason;
    // Names in a damaged file may hold anything; the message stays one line.
    for (Char8& ch : _error)
        if (static_cast<UChar8>(ch) < 0x20 || static_cast<UChar8>(ch) == 0x7f)
            ch = '?';
    return false;
}

bool OsbReader::failAtEnd()
{
    return fail("the file ends within a record");
}

void OsbReader::drop(Drops& drops, std::size_t position)
{
    if (drops.count++ == 0)
        drops.position = position;
}

void OsbReader::warn(const Drops& drops, const Char8* what) const
{
    if (drops.count != 0)
        SWARNING << _fileName << ": byte " << drops.position << ": " << drops.count << ' ' << what
                 << std::endl;
}

void OsbReader::warnLost() const
{
    for (const auto& entry : _plans) {
        const TypePlan& plan = entry.second;
        if (plan.lost == 0)
            continue;
        std::string typeName = entry.first.substr(0, 64);
        for (Char8& ch : typeName)
            if (static_cast<UChar8>(ch) < 0x20 || static_cast<UChar8>(ch) == 0x7f)
                ch = '?';
        SWARNING << _fileName << ": type \"" << typeName << "\" is not known; " << plan.lost << " of them "
                 << (plan.standIn.empty() ? "left out" : "read as an empty " + plan.standIn) << std::endl;
    }
}

// -- Load -------------------------------------------------------------------------------------------

bool OsbReader::load(std::istream& in)
{
    // The start is looked at first: a stream that is something else, and may never end, is not taken into
    // memory.
    Char8 start[4 + osbMagic.size() + 1];
    in.read(start, sizeof(start));
    const std::size_t startSize = static_cast<std::size_t>(in.gcount());
    if (startSize < sizeof(start) || std::memcmp(start, "\0\0\0\x13", 4) != 0 ||
        std::string_view(start + 4, osbMagic.size() + 1) !=
            std::string_view(osbMagic.data(), osbMagic.size() + 1))
        return fail("not a binary scene file, it does not start with \"%s\"", osbMagic.data());

    std::size_t capacity = std::size_t(1) << 16;
    const std::istream::pos_type here = in.tellg();
    if (here != std::istream::pos_type(-1) && in.seekg(0, std::ios::end)) {
        const std::streamoff rest = in.tellg() - here;
        if (rest >= 0)
            capacity = sizeof(start) + static_cast<std::size_t>(rest);
        in.seekg(here);
    }
    in.clear();

    // One byte more than is expected, so that the end is met without growing.
    std::unique_ptr<UInt8[]> data(new UInt8[capacity + 1]);
    std::memcpy(data.get(), start, sizeof(start));
    std::size_t size = sizeof(start);
    ++capacity;
    while (in) {
        if (size == capacity) {
            std::unique_ptr<UInt8[]> larger(new UInt8[capacity * 2]);
            std::memcpy(larger.get(), data.get(), size);
            data = std::move(larger);
            capacity *= 2;
        }
        in.read(reinterpret_cast<Char8*>(data.get()) + size, static_cast<std::streamsize>(capacity - size));
        size += static_cast<std::size_t>(in.gcount());
    }
    if (in.bad())
        return fail("the file could not be read to its end");
    _data = std::move(data);
    _size = size;
    _pos = sizeof(start);
    return true;
}

bool OsbReader::readHeader()
{
    std::string_view name, options;
    UInt32 sizeHigh = 0, sizeLow = 0;
    return readString(name) && readString(options) && readU32(sizeHigh) && readU32(sizeLow);
}

// -- Records ----------------------------------------------------------------------------------------

bool OsbReader::readRecords()
{
    for (;;) {
        _context.clear();
        _field = std::string_view();
        if (left() == 0)
            return fail("the file ends without its end mark");
        std::string_view typeName;
        if (!readString(typeName))
            return false;
        if (typeName.empty())
            break;
        if (!readRecord(typeName))
            return false;
        SceneFileHandler::the().updateReadProgress(static_cast<UInt32>(UInt64(_pos) * 100 / _size));
    }
    if (_records.empty())
        return fail("the file holds no scene");
    return true;
}

bool OsbReader::readRecord(std::string_view typeName)
{
    const std::size_t start = _pos;
    _context.assign(typeName.substr(0, 64));

    UInt32 id = 0;
    UInt8 kind = OsbUnknown;
    UInt16 version = 0;
    const bool hasKind = osbHasKind(typeName);
    if (!readU32(id) || (hasKind && !readU8(kind)) || !readU16(version))
        return false;

    const bool isGeometry = typeName == "Geometry";
    TypePlan& plan = planOf(typeName);

    // The same id twice: some writers repeat the root when something refers to it. The first record counts.
    const UInt32 place = static_cast<UInt32>(_records.size());
    if (id != 0 && !_recordOfId.emplace(id, place).second) {
        drop(_doubleRecords, start);
        return readFields(nullptr, NullFC, isGeometry);
    }

    const FieldContainerPtr container = create(plan, typeName, kind);
    if (place == 0) {
        if (GlobalSystemState != Running)
            return fail("scenes can be read between osgInit and osgExit only");
        if (!NodePtr::dcast(container)) {
            subRefCP(container);
            return fail("the first record must be a node");
        }
    } else {
        addRefCP(container);
    }
    _records.push_back({container, _references.size()});
    if (!readFields(plan.type != nullptr ? &plan : nullptr, container, isGeometry))
        return false;
    if (const ImagePtr image = ImagePtr::dcast(container))
        finishImage(image);
    return true;
}

OsbReader::TypePlan& OsbReader::planOf(std::string_view typeName)
{
    const auto known = _plans.find(typeName);
    if (known != _plans.end())
        return known->second;

    TypePlan& plan = _plans[std::string(typeName)];
    FieldContainerType* const type = FieldContainerFactory::the()->findType(std::string(typeName).c_str());
    if (type == nullptr || type->isAbstract())
        return plan;
    plan.type = type;
    const bool isNode = type->isDerivedFrom(Node::getClassType());
    for (UInt32 id = 1; id <= type->getNumFieldDescs(); ++id) {
        const FieldDescription* const description = type->getFieldDescription(id);
        FieldPlan field;
        field.name = description->getCName();
        field.typeName = description->getType().getCName();
        field.description = description;
        field.element = nullptr;
        field.multi = description->getType().getCardinality() == FieldType::MULTI_FIELD;
        field.children = isNode && id == Node::ChildrenFieldId;
        field.core = isNode && id == Node::CoreFieldId;
        field.counted =
            field.children || field.core || description->getHolding() != FieldDescription::HoldsNothing;
        field.form = FieldPlan::Skipped;
        if (!description->isInternal()) {
            if (field.typeName == "SFAttachmentMap") {
                field.form = FieldPlan::Attachments;
                field.counted = true;
            } else if (description->getType().isPointer()) {
                field.form = FieldPlan::Handles;
            } else {
                field.element = osbElementOf(description->getType());
                if (field.element != nullptr)
                    field.form = FieldPlan::Values;
            }
        }
        plan.fields.push_back(field);
    }
    return plan;
}

FieldContainerPtr OsbReader::create(TypePlan& plan, std::string_view typeName, UInt8 kind)
{
    if (plan.type != nullptr)
        return plan.type->createFieldContainer();

    ++plan.lost;
    switch (osbHasKind(typeName) ? kind : UInt8(OsbAttachment)) {
    case OsbNodeCore:
        plan.standIn = "Group";
        break;
    case OsbMaterial:
        plan.standIn = "ChunkMaterial";
        break;
    case OsbAttachment:
    case OsbStateChunk:
        return NullFC;
    default:
        plan.standIn = "Node";
        break;
    }
    return FieldContainerFactory::the()->createFieldContainer(plan.standIn.c_str());
}

// -- Fields -----------------------------------------------------------------------------------------

// Fields come in the order of the descriptions as a rule, so the search starts behind the last one found.
const OsbReader::FieldPlan* OsbReader::findField(const TypePlan& plan, std::string_view name,
                                                 std::size_t& next) const
{
    const std::size_t count = plan.fields.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t place = next + i < count ? next + i : next + i - count;
        if (plan.fields[place].name == name) {
            next = place + 1 < count ? place + 1 : 0;
            return &plan.fields[place];
        }
    }
    return nullptr;
}

// Without a plan (the type is not known, or the record is ignored) all fields are skipped.
bool OsbReader::readFields(TypePlan* plan, const FieldContainerPtr& container, bool isGeometry)
{
    std::size_t next = 0;
    for (;;) {
        _field = std::string_view();
        std::string_view name, typeName;
        UInt32 size = 0;
        if (!readString(name))
            return false;
        if (name.empty())
            return true;
        _field = name;
        if (!readString(typeName) || !readU32(size))
            return false;

        const FieldContainerPtr target = plan != nullptr ? container : FieldContainerPtr();
        // The size that stands before packed indices is 4 less than what follows, so they must be known even
        // where they are skipped.
        if (isGeometry && name == osbPackedIndices && typeName == osbPackedIndicesType) {
            if (!readPackedIndices(target))
                return false;
            continue;
        }
        if (size > left())
            return fail("%.64s claims %u bytes, %zu are left", typeName.data(), size, left());
        const std::size_t end = _pos + size;

        const OsbQuantized* quantized = nullptr;
        for (const OsbQuantized& form : osbQuantized)
            if (isGeometry && name == form.fieldName && typeName == form.fieldType)
                quantized = &form;
        if (quantized != nullptr) {
            if (!readQuantized(*quantized, target))
                return false;
            continue;
        }

        if (target && name == osbCompressedPixels && typeName == osbCompressedPixelsType) {
            const ImagePtr image = ImagePtr::dcast(target);
            if (image && !readCompressedPixels(image, size))
                return false;
            _pos = end;
            continue;
        }

        const FieldPlan* const field = plan != nullptr ? findField(*plan, name, next) : nullptr;
        if (field != nullptr) {
            bool done = true;
            switch (field->form) {
            case FieldPlan::Values:
                // Under another type a single value is taken if its size is right.
                if (field->typeName == typeName)
                    done = field->element->form == OsbElement::String
                               ? readStrings(*field, *field->description->getField(container.getCPtr()), size)
                               : readValues(*field, *field->description->getField(container.getCPtr()), size);
                else if (!field->multi && field->element->form != OsbElement::String &&
                         size == field->element->size())
                    done = readValues(*field, *field->description->getField(container.getCPtr()), size);
                break;
            case FieldPlan::Handles:
                done = readHandles(*field, typeName, size);
                break;
            case FieldPlan::Attachments:
                done = typeName != field->typeName || readAttachments(*field, size);
                break;
            case FieldPlan::Skipped:
                break;
            }
            if (!done)
                return false;
        }
        _pos = end;
    }
}

bool OsbReader::readValues(const FieldPlan& plan, Field& field, UInt32 size)
{
    const OsbElement& element = *plan.element;
    UInt32 count = 1;
    if (plan.multi) {
        if (size < 4)
            return fail("%s takes at least 4 bytes, the file says %u", plan.description->getType().getCName(),
                        size);
        readU32(count);
        if (UInt64(count) * element.size() + 4 != size)
            return fail("%u values of %s take %llu bytes, the file says %u", count,
                        plan.description->getType().getElementName(),
                        static_cast<unsigned long long>(UInt64(count) * element.size() + 4), size);
    } else if (size != element.size()) {
        return fail("%s takes %u bytes, the file says %u", plan.description->getType().getCName(),
                    element.size(), size);
    }
    void* const block = field.resizeBlock(count);
    if (block == nullptr)
        return true;
    const UInt8* const source = _data.get() + _pos;
    if (element.form == OsbElement::Bool) {
        bool* const values = static_cast<bool*>(block);
        for (UInt32 i = 0; i < count; ++i)
            values[i] = source[i] != 0;
    } else {
        osbCopyUnits(block, source, std::size_t(count) * element.unitCount, element.unitSize);
    }
    return true;
}

bool OsbReader::readStrings(const FieldPlan& plan, Field& field, UInt32 size)
{
    const std::size_t end = _pos + size;
    std::string_view text;
    if (!plan.multi) {
        if (!readString(text))
            return false;
        static_cast<SFString&>(field).setValue(std::string(text));
    } else {
        UInt32 count = 0;
        if (!readU32(count))
            return false;
        // Each has a length of four bytes at least.
        if (count > left() / 4)
            return fail("%u texts are claimed, %zu bytes are left", count, left());
        MFString& texts = static_cast<MFString&>(field);
        texts.clear();
        texts.reserve(count);
        for (UInt32 i = 0; i < count; ++i) {
            if (!readString(text))
                return false;
            texts.push_back(std::string(text));
        }
    }
    if (_pos != end)
        return fail("%s is of another length than the file says", plan.description->getType().getCName());
    return true;
}

bool OsbReader::readHandles(const FieldPlan& plan, std::string_view typeName, UInt32 size)
{
    // Handles of whatever class; whether they fit is seen when their targets are known.
    if (typeName.substr(0, 2) != plan.typeName.substr(0, 2) || typeName.find("Ptr") == std::string_view::npos)
        return true;
    UInt32 count = 1;
    if (plan.multi) {
        if (size < 4)
            return fail("a list of handles takes at least 4 bytes, the file says %u", size);
        readU32(count);
        if (UInt64(count) * 4 + 4 != size)
            return fail("%u handles do not take the %u bytes that the file says", count, size);
    } else if (size != 4) {
        return fail("a handle takes 4 bytes, the file says %u", size);
    }
    _references.push_back({&plan, _targetPositions.size(), count, 0});
    for (UInt32 i = 0; i < count; ++i)
        _targetPositions.push_back(_pos + std::size_t(i) * 4);
    return true;
}

bool OsbReader::readAttachments(const FieldPlan& plan, UInt32 size)
{
    if (size < 4)
        return fail("a list of attachments takes at least 4 bytes, the file says %u", size);
    UInt32 count = 0;
    readU32(count);
    const bool withBindings = UInt64(count) * 6 + 4 == size && count != 0;
    if (!withBindings && UInt64(count) * 4 + 4 != size)
        return fail("%u attachments do not take the %u bytes that the file says", count, size);
    _references.push_back(
        {&plan, _targetPositions.size(), count, withBindings ? _pos + std::size_t(count) * 4 : 0});
    for (UInt32 i = 0; i < count; ++i)
        _targetPositions.push_back(_pos + std::size_t(i) * 4);
    return true;
}

// -- Geometry in few bits ---------------------------------------------------------------------------

bool OsbReader::readQuantized(const OsbQuantized& form, const FieldContainerPtr& geometry)
{
    UInt8 bytes = 0;
    Real32 low = 0, high = 0;
    UInt32 count = 0;
    if (!readU8(bytes) || !readReal32(low) || !readReal32(high) || !readU32(count))
        return false;
    if (bytes < 1 || bytes > 3)
        return fail("values of %u bytes are not known", bytes);
    if (count > left() / (std::size_t(form.dimension) * bytes))
        return fail("%u values are claimed, %zu bytes are left", count, left());

    const std::size_t units = std::size_t(count) * form.dimension;
    const UInt8* source = _data.get() + _pos;
    _pos += units * bytes;
    Real32* const values = static_cast<Real32*>(
        newProperty(geometry, form.geometryField, form.propertyClass, form.propertyField, count));
    if (values == nullptr)
        return true;
    const Real32 scale = (high - low) / static_cast<Real32>((UInt32(1) << (8 * bytes)) - 1);
    for (std::size_t i = 0; i < units; ++i, source += bytes) {
        UInt32 value = source[0];
        if (bytes > 1)
            value = value << 8 | source[1];
        if (bytes > 2) // the high byte stands behind the two low ones
            value |= UInt32(source[2]) << 16;
        values[i] = static_cast<Real32>(value) * scale + low;
    }
    return true;
}

bool OsbReader::readPackedIndices(const FieldContainerPtr& geometry)
{
    UInt32 maxIndex = 0, count = 0, bytes = 0;
    if (!readU32(maxIndex) || !readU32(count) || !readU32(bytes))
        return false;
    if (bytes > left())
        return fail("packed indices claim %u bytes, %zu are left", bytes, left());
    UInt32 bits = osbPackedBits(maxIndex);
    // Where all indices are 0 they may take one bit each, or none; then only the file's size bounds their
    // number.
    if (bits == 0 && bytes != 0)
        bits = 1;
    if ((UInt64(count) * bits + 7) / 8 > bytes || (bits == 0 && count > _size))
        return fail("%u indices of %u bits do not fit into %u bytes", count, bits, bytes);

    const UInt8* source = _data.get() + _pos;
    _pos += bytes;
    const bool narrow = _options.unpack16BitIndices && maxIndex <= 0xffff;
    void* const values =
        newProperty(geometry, "indices", narrow ? "GeoIndicesUI16" : "GeoIndicesUI32", "indices", count);
    if (values == nullptr)
        return true;
    UInt64 window = 0; // its low `held` bits are still to be used
    UInt32 held = 0;
    const UInt64 mask = (UInt64(1) << bits) - 1;
    for (UInt32 i = 0; i < count; ++i) {
        for (; held < bits; held += 8)
            window = window << 8 | *source++;
        held -= bits;
        const UInt32 index = static_cast<UInt32>(window >> held & mask);
        if (narrow)
            static_cast<UInt16*>(values)[i] = static_cast<UInt16>(index);
        else
            static_cast<UInt32*>(values)[i] = index;
    }
    return true;
}

void* OsbReader::newProperty(const FieldContainerPtr& geometry, const Char8* geometryField,
                             const Char8* propertyClass, const Char8* propertyField, UInt32 count)
{
    if (!geometry)
        return nullptr;
    Field* const handle = geometry->getField(geometryField);
    FieldContainerPtr property = FieldContainerFactory::the()->createFieldContainer(propertyClass);
    Field* const values = property ? property->getField(propertyField) : nullptr;
    if (handle == nullptr || values == nullptr || handle->getContainer(0) ||
        !handle->setContainer(property)) {
        subRefCP(property);
        return nullptr;
    }
    addRefCP(property);
    AttachmentPtr::dcast(property)->addParent(geometry);
    return values->resizeBlock(count);
}

// -- Images -----------------------------------------------------------------------------------------

bool OsbReader::readCompressedPixels(const ImagePtr& image, UInt32 size)
{
    UInt32 count = 0;
    if (!readU32(count))
        return false;
    if (UInt64(count) + 4 != size)
        return fail("%u bytes do not take the %u bytes that the file says", count, size);
    ImageFileHandler::the().restore(image, _data.get() + _pos, count);
    return true;
}

void OsbReader::finishImage(const ImagePtr& image)
{
    if (image->getPixel().empty()) {
        if (!image->getName().empty()) {
            const std::string name = image->getName(); // which reading changes
            image->read(name.c_str());
        }
    } else if (!image->isValid()) {
        drop(_wrongPixels, _pos);
        image->clearData();
    }
}

// -- References -------------------------------------------------------------------------------------

void OsbReader::resolveTargets()
{
    _targets.resize(_targetPositions.size(), UInt32(noTarget));
    for (std::size_t i = 0; i < _targets.size(); ++i) {
        const UInt32 id = peekU32(_targetPositions[i]);
        if (id == 0)
            continue;
        const auto found = _recordOfId.find(id);
        if (found == _recordOfId.end())
            drop(_unknownIds, _targetPositions[i]);
        else if (_records[found->second].container)
            _targets[i] = found->second;
    }
}

// Containers that hold each other in a circle would never be released, and a walk down such a graph would not
// end. A depth-first walk along the handles that count finds the ones that lead back to where it came from;
// nothing may hold the root either.
void OsbReader::cutCircles()
{
    enum : UInt8 { New, Open, Done };
    struct Step {
        UInt32 record = 0;
        std::size_t reference; ///< the next one to look at, and the next of its targets
        UInt32 target = 0;
    };
    std::vector<UInt8> state(_records.size(), UInt8(New));
    std::vector<Step> stack;
    const auto endOfReferences = [this](UInt32 record) {
        return record + 1 < _records.size() ? _records[record + 1].firstReference : _references.size();
    };
    for (UInt32 start = 0; start < _records.size(); ++start) {
        if (state[start] != New)
            continue;
        state[start] = Open;
        stack.push_back({start, _records[start].firstReference, 0});
        while (!stack.empty()) {
            Step& step = stack.back();
            if (step.reference == endOfReferences(step.record)) {
                state[step.record] = Done;
                stack.pop_back();
                continue;
            }
            const Reference& reference = _references[step.reference];
            if (!reference.plan->counted || step.target == reference.count) {
                ++step.reference;
                step.target = 0;
                continue;
            }
            const std::size_t place = reference.firstTarget + step.target++;
            const UInt32 target = _targets[place];
            if (target == noTarget)
                continue;
            if (target == 0 || state[target] == Open) {
                drop(_circles, _targetPositions[place]);
                _targets[place] = noTarget;
            } else if (state[target] == New) {
                state[target] = Open;
                stack.push_back({target, _records[target].firstReference, 0});
            }
        }
    }
}

// A node has one parent, and each further one that lists it takes it over. Only the last is left here, which
// comes to the same without moving children out of long lists again and again.
void OsbReader::settleChildren()
{
    constexpr std::size_t nowhere = ~std::size_t(0);
    std::vector<std::size_t> placeOf(_records.size(), nowhere);
    for (const Reference& reference : _references) {
        if (!reference.plan->children)
            continue;
        for (std::size_t i = reference.firstTarget; i < reference.firstTarget + reference.count; ++i) {
            const UInt32 target = _targets[i];
            if (target == noTarget)
                continue;
            if (placeOf[target] != nowhere)
                _targets[placeOf[target]] = noTarget;
            placeOf[target] = i;
        }
    }
}

void OsbReader::connect()
{
    for (std::size_t i = 0; i < _records.size(); ++i) {
        const FieldContainerPtr container = _records[i].container;
        const std::size_t end = i + 1 < _records.size() ? _records[i + 1].firstReference : _references.size();
        if (!container)
            continue;
        beginEditCP(container);
        for (std::size_t r = _records[i].firstReference; r < end; ++r)
            connectReference(container, _references[r]);
        endEditNotChangedCP(container);
    }
    // What follows from the changes (states of materials, matrices, volumes) may look at other containers.
    for (const Record& record : _records)
        changedCP(record.container);
}

void OsbReader::connectReference(const FieldContainerPtr& container, const Reference& reference)
{
    const FieldPlan& plan = *reference.plan;
    Field* const field = plan.description->getField(container.getCPtr());
    for (UInt32 i = 0; i < reference.count; ++i) {
        const std::size_t place = reference.firstTarget + i;
        if (_targets[place] == noTarget)
            continue;
        const FieldContainerPtr target = _records[_targets[place]].container;
        bool fits = true;
        if (plan.form == FieldPlan::Attachments) {
            const AttachmentPtr attachment = AttachmentPtr::dcast(target);
            const UInt16 binding =
                reference.bindings != 0 ? peekU16(reference.bindings + std::size_t(i) * 2) : UInt16(0);
            fits = attachment != NullFC;
            AttachmentContainerPtr::dcast(container)->addAttachment(attachment, binding);
        } else if (plan.children) {
            const NodePtr child = NodePtr::dcast(target);
            fits = child != NullFC;
            NodePtr::dcast(container)->addChild(child);
        } else if (plan.core) {
            const NodeCorePtr core = NodeCorePtr::dcast(target);
            fits = core != NullFC;
            if (fits)
                NodePtr::dcast(container)->setCore(core);
        } else {
            // A single handle that is given twice keeps its first value.
            if (!plan.multi && field->getContainer(0))
                continue;
            fits = plan.multi ? field->addContainer(target) : field->setContainer(target);
            if (fits && plan.counted)
                addRefCP(target);
            if (fits && plan.description->getHolding() == FieldDescription::HoldsLinked)
                AttachmentPtr::dcast(target)->addParent(container);
            if (fits && !plan.counted)
                _weakHandles.push_back({container.getFieldContainerId(), target.getFieldContainerId(),
                                        plan.description, plan.multi ? field->getContainerCount() - 1 : 0});
        }
        if (!fits)
            drop(_wrongClasses, _targetPositions[place]);
    }
}

// -- Result -----------------------------------------------------------------------------------------

NodePtr OsbReader::finish()
{
    const NodePtr root = NodePtr::dcast(_records.front().container);
    for (std::size_t i = 1; i < _records.size(); ++i)
        subRefCP(_records[i].container);
    _records.clear();

    FieldContainerFactory* const factory = FieldContainerFactory::the();
    for (const WeakHandle& weak : _weakHandles) {
        const FieldContainerPtr owner = factory->getContainer(weak.ownerId);
        if (owner && !factory->getContainer(weak.targetId))
            weak.description->getField(owner.getCPtr())->setContainer(NullFC, weak.index);
    }

    warnLost();
    warn(_unknownIds, "reference(s) to containers that are not in the file were dropped");
    warn(_wrongClasses, "reference(s) to containers of a wrong class were dropped");
    warn(_circles, "reference(s) that would close a circle were dropped");
    warn(_wrongPixels, "image(s) whose pixels do not fit to their size are left without");
    if (_doubleRecords.count != 0)
        FINFO(("%s: byte %zu: %u record(s) under an id that was there before were ignored\n",
               _fileName.c_str(), _doubleRecords.position, _doubleRecords.count));
    SceneFileHandler::the().updateReadProgress(100);
    return root;
}

OSG_END_NAMESPACE
