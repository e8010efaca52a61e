#include "OSGOsbWriter.h"

#include <OpenSG/OSGAttachmentContainer.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGImageFileHandler.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMField.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSField.h>
#include <OpenSG/OSGSceneFileHandler.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ostream>

OSG_BEGIN_NAMESPACE

OsbWriter::OsbWriter(const Char8* fileName, const OsbOptions& options)
    : _fileName(fileName != nullptr ? fileName : ""), _options(options)
{
}

bool OsbWriter::write(const NodePtr& root, std::ostream& out)
{
    if (!root) {
        SWARNING << _fileName << ": there is no node to write" << std::endl;
        return false;
    }
    _out = &out;
    SceneFileHandler::the().updateWriteProgress(0);
    collect(root);

    putString(osbMagic.data(), osbMagic.size());
    putString("", 0); // name
    putString("", 0); // options
    putU32(0);        // size, eight bytes that nobody reads
    putU32(0);
    for (std::size_t i = 0; i < _containers.size(); ++i) {
        writeRecord(_containers[i]);
        SceneFileHandler::the().updateWriteProgress(static_cast<UInt32>((i + 1) * 100 / _containers.size()));
    }
    putString("", 0);

    out.write(_buffer.data(), static_cast<std::streamsize>(_buffer.size()));
    out.flush();
    if (!out) {
        SWARNING << _fileName << ": could not write all of the scene" << std::endl;
        return false;
    }
    SceneFileHandler::the().updateWriteProgress(100);
    return true;
}

// -- Types ------------------------------------------------------------------------------------------

namespace
{

UInt8 kindOf(const FieldContainerType& type)
{
    struct KindRow {
        const Char8* base;
        UInt8 kind;
    };
    // The first base that fits: state chunks are attachments.
    static constexpr KindRow rows[] = {{"Node", OsbNode},
                                       {"NodeCore", OsbNodeCore},
                                       {"StateChunk", OsbStateChunk},
                                       {"Attachment", OsbAttachment},
                                       {"Material", OsbMaterial}};
    for (const KindRow& row : rows) {
        const FieldContainerType* const base = FieldContainerFactory::the()->findType(row.base);
        if (base != nullptr && type.isDerivedFrom(*base))
            return row.kind;
    }
    return OsbFieldContainer;
}

} // namespace

const OsbWriter::TypePlan& OsbWriter::planOf(const FieldContainerType& type)
{
    const auto known = _plans.find(&type);
    if (known != _plans.end())
        return known->second;

    TypePlan& plan = _plans[&type];
    const std::string_view typeName = type.getCName();
    appendString(plan.start, typeName.data(), typeName.size());
    plan.hasKind = osbHasKind(typeName);
    plan.kind = kindOf(type);
    plan.isGeometry = typeName == "Geometry";
    plan.isImage = type.isDerivedFrom(Image::getClassType());
    const bool isNode = type.isDerivedFrom(Node::getClassType());
    for (UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
        const FieldDescription* const description = type.getFieldDescription(id);
        if (description->isInternal())
            continue;
        FieldPlan field;
        const std::string_view name = description->getCName(), fieldType = description->getType().getCName();
        field.description = description;
        field.element = nullptr;
        field.multi = description->getType().getCardinality() == FieldType::MULTI_FIELD;
        field.counted = description->getHolding() != FieldDescription::HoldsNothing ||
                        (isNode && (id == Node::ChildrenFieldId || id == Node::CoreFieldId));
        field.quantized = -1;
        field.indices = plan.isGeometry && name == "indices";
        field.pixels = plan.isImage && id == Image::PixelFieldId;
        field.ofNamed = plan.isImage && (id == Image::AttachmentsFieldId || id == Image::NameFieldId ||
                                         id >= Image::ForceCompressedDataFieldId);
        if (fieldType == "SFAttachmentMap") {
            field.form = FieldPlan::Attachments;
        } else if (description->getType().isPointer()) {
            field.form = FieldPlan::Handles;
            for (Int32 i = 0; i < OsbQuantizedCount; ++i)
                if (plan.isGeometry && name == osbQuantized[i].geometryField)
                    field.quantized = i;
        } else {
            field.form = FieldPlan::Values;
            field.element = osbElementOf(description->getType());
            if (field.element == nullptr)
                continue; // has no form in files: volumes, pointers of the program
        }
        appendString(field.header, name.data(), name.size());
        appendString(field.header, fieldType.data(), fieldType.size());
        plan.fields.push_back(field);
    }
    return plan;
}

// -- What is written --------------------------------------------------------------------------------

// The list of containers is the queue as well.
void OsbWriter::collect(const NodePtr& root)
{
    collectTarget(root);
    for (std::size_t i = 0; i < _containers.size(); ++i) {
        const FieldContainerPtr container = _containers[i];
        for (const FieldPlan& plan : planOf(container->getType()).fields) {
            const Field& field = *plan.description->getField(container.getCPtr());
            if (plan.form == FieldPlan::Attachments) {
                for (const auto& entry : attachmentsOf(field))
                    collectTarget(entry.first);
            } else if (plan.form == FieldPlan::Handles && plan.counted) {
                const UInt32 count = field.getContainerCount();
                for (UInt32 k = 0; k < count; ++k) {
                    const FieldContainerPtr target = field.getContainer(k);
                    if (!isQuantized(plan, target) && !isPacked(plan, target))
                        collectTarget(target);
                }
            }
        }
    }
}

void OsbWriter::collectTarget(const FieldContainerPtr& target)
{
    if (target && _ids.emplace(target.getCPtr(), static_cast<UInt32>(_containers.size() + 1)).second)
        _containers.push_back(target);
}

OsbWriter::AttachmentList OsbWriter::attachmentsOf(const Field& field)
{
    AttachmentList attachments;
    for (const auto& entry : static_cast<const SFAttachmentMap&>(field).getValue())
        if (entry.second)
            attachments.emplace_back(entry.second, static_cast<UInt16>(entry.first & 0xffff));
    std::sort(attachments.begin(), attachments.end(),
              [](const AttachmentList::value_type& a, const AttachmentList::value_type& b) {
                  const int order = std::strcmp(a.first->getTypeName(), b.first->getTypeName());
                  return order != 0 ? order < 0 : a.second < b.second;
              });
    return attachments;
}

bool OsbWriter::isQuantized(const FieldPlan& field, const FieldContainerPtr& property) const
{
    return field.quantized >= 0 && _options.quantizeBytes[field.quantized] != 0 && property &&
           std::strcmp(property->getTypeName(), osbQuantized[field.quantized].propertyClass) == 0;
}

bool OsbWriter::isPacked(const FieldPlan& field, const FieldContainerPtr& property) const
{
    return field.indices && _options.packIndices && property &&
           std::strcmp(property->getTypeName(), "GeoIndicesUI32") == 0;
}

UInt32 OsbWriter::idOf(const FieldContainerPtr& container) const
{
    const auto found = _ids.find(container.getCPtr());
    return found != _ids.end() ? found->second : 0;
}

// -- Records ----------------------------------------------------------------------------------------

void OsbWriter::writeRecord(const FieldContainerPtr& container)
{
    const TypePlan& plan = planOf(container->getType());
    _buffer += plan.start;
    putU32(idOf(container));
    if (plan.hasKind)
        putU8(plan.kind);
    putU16(osbRecordVersion);
    if (plan.isImage) {
        writeImage(ImagePtr::dcast(container), plan);
    } else {
        for (const FieldPlan& field : plan.fields)
            writeField(container, field);
    }
    if (plan.isGeometry) {
        // What is stored in few bits stands behind all other fields.
        for (const FieldPlan& field : plan.fields) {
            if (field.quantized < 0 && !field.indices)
                continue;
            const FieldContainerPtr property =
                field.description->getField(container.getCPtr())->getContainer(0);
            if (isQuantized(field, property))
                writeQuantized(osbQuantized[field.quantized], _options.quantizeBytes[field.quantized],
                               property);
            else if (isPacked(field, property))
                writePackedIndices(property);
        }
    }
    putString("", 0);
    flushIfLarge();
}

void OsbWriter::writeField(const FieldContainerPtr& container, const FieldPlan& plan)
{
    const Field& field = *plan.description->getField(container.getCPtr());
    switch (plan.form) {
    case FieldPlan::Values:
        if (plan.element->form == OsbElement::String)
            writeStrings(plan, field);
        else
            writeValues(plan, field);
        break;
    case FieldPlan::Handles:
        writeHandles(plan, field);
        break;
    case FieldPlan::Attachments:
        writeAttachments(plan, field);
        break;
    }
}

void OsbWriter::writeValues(const FieldPlan& plan, const Field& field)
{
    const UInt32 count = field.getSize();
    const std::size_t bytes = std::size_t(count) * plan.element->size();
    _buffer += plan.header;
    putU32(static_cast<UInt32>(bytes + (plan.multi ? 4 : 0)));
    if (plan.multi)
        putU32(count);
    if (count != 0)
        putUnits(field.getBlock(), bytes / plan.element->unitSize, plan.element->unitSize);
}

void OsbWriter::writeStrings(const FieldPlan& plan, const Field& field)
{
    _buffer += plan.header;
    if (!plan.multi) {
        const std::string& text = static_cast<const SFString&>(field).getValue();
        putU32(static_cast<UInt32>(text.size() + 5));
        putString(text.data(), text.size());
        return;
    }
    const MFString& texts = static_cast<const MFString&>(field);
    std::size_t bytes = 4;
    for (const std::string& text : texts)
        bytes += text.size() + 5;
    putU32(static_cast<UInt32>(bytes));
    putU32(texts.size());
    for (const std::string& text : texts)
        putString(text.data(), text.size());
}

void OsbWriter::writeHandles(const FieldPlan& plan, const Field& field)
{
    if (!plan.multi) {
        const FieldContainerPtr target = field.getContainer(0);
        if (isQuantized(plan, target) || isPacked(plan, target))
            return;
        _buffer += plan.header;
        putU32(4);
        putU32(idOf(target));
        return;
    }
    std::vector<UInt32> ids;
    for (UInt32 i = 0; i < field.getContainerCount(); ++i) {
        const UInt32 id = idOf(field.getContainer(i));
        if (id != 0)
            ids.push_back(id);
    }
    if (ids.empty())
        return;
    _buffer += plan.header;
    putU32(static_cast<UInt32>(4 + ids.size() * 4));
    putU32(static_cast<UInt32>(ids.size()));
    putUnits(ids.data(), ids.size(), 4);
}

void OsbWriter::writeAttachments(const FieldPlan& plan, const Field& field)
{
    const AttachmentList attachments = attachmentsOf(field);
    if (attachments.empty())
        return;
    bool withBindings = false;
    for (const auto& entry : attachments)
        withBindings = withBindings || entry.second != 0;
    _buffer += plan.header;
    putU32(static_cast<UInt32>(4 + attachments.size() * (withBindings ? 6 : 4)));
    putU32(static_cast<UInt32>(attachments.size()));
    for (const auto& entry : attachments)
        putU32(idOf(entry.first));
    if (withBindings)
        for (const auto& entry : attachments)
            putU16(entry.second);
}

// -- Images -----------------------------------------------------------------------------------------

void OsbWriter::writeImage(const ImagePtr& image, const TypePlan& plan)
{
    const bool named = !_options.inlineTextures && !image->getName().empty();
    const std::vector<UInt8> block = named ? std::vector<UInt8>() : compressed(image);
    for (const FieldPlan& field : plan.fields)
        if (named ? field.ofNamed : (!field.pixels || block.empty()))
            writeField(image, field);
    if (!block.empty()) {
        putString(osbCompressedPixels.data(), osbCompressedPixels.size());
        putString(osbCompressedPixelsType.data(), osbCompressedPixelsType.size());
        putU32(static_cast<UInt32>(block.size() + 4));
        putU32(static_cast<UInt32>(block.size()));
        putUnits(block.data(), block.size(), 1);
    }
}

std::vector<UInt8> OsbWriter::compressed(const ImagePtr& image) const
{
    const bool fits = image->isValid() && image->getDataType() == Image::OSG_UINT8_IMAGEDATA &&
                      image->getMipMapCount() == 1 && image->getFrameCount() == 1 &&
                      image->getSideCount() == 1 && image->getDepth() == 1;
    if (!_options.compressTextures || !fits)
        return std::vector<UInt8>();
    const UInt32 format = image->getPixelFormat();
    const bool jpeg = std::strcmp(_options.textureMimeType, "image/jpeg") == 0;
    const bool grey = format == Image::OSG_L_PF, rgb = format == Image::OSG_RGB_PF;
    // Formats that would come back as others stay as they are.
    if (!grey && !rgb && (jpeg || (format != Image::OSG_LA_PF && format != Image::OSG_RGBA_PF)))
        return std::vector<UInt8>();
    const std::string options = "quality=" + std::to_string(_options.textureQuality);
    return ImageFileHandler::the().store(image, _options.textureMimeType, options.c_str());
}

// -- Geometry in few bits ---------------------------------------------------------------------------

void OsbWriter::writeQuantized(const OsbQuantized& form, UInt32 bytes, const FieldContainerPtr& property)
{
    const Field& field = *property->getField(form.propertyField);
    const Real32* const values = static_cast<const Real32*>(field.getBlock());
    const std::size_t units = std::size_t(field.getSize()) * form.dimension;
    Real32 low = 0, high = 0;
    bool any = false;
    for (std::size_t i = 0; i < units; ++i) {
        if (!std::isfinite(values[i]))
            continue;
        low = any ? std::min(low, values[i]) : values[i];
        high = any ? std::max(high, values[i]) : values[i];
        any = true;
    }

    putString(form.fieldName.data(), form.fieldName.size());
    putString(form.fieldType.data(), form.fieldType.size());
    putU32(static_cast<UInt32>(13 + units * bytes));
    putU8(static_cast<UInt8>(bytes));
    putReal32(low);
    putReal32(high);
    putU32(field.getSize());
    const Real64 top = static_cast<Real64>((UInt32(1) << (8 * bytes)) - 1);
    const Real64 range = Real64(high) - Real64(low);
    for (std::size_t i = 0; i < units; ++i) {
        // Where all values are equal, or one is not a number, it is 0.
        Real64 step = range > 0 ? std::floor((Real64(values[i]) - Real64(low)) / range * top + 0.5) : 0;
        step = step > top ? top : (step > 0 ? step : 0);
        const UInt32 value = static_cast<UInt32>(step);
        if (bytes == 1) {
            putU8(static_cast<UInt8>(value));
        } else {
            putU16(static_cast<UInt16>(value & 0xffff));
            if (bytes == 3)
                putU8(static_cast<UInt8>(value >> 16));
        }
        if (i % 4096 == 0)
            flushIfLarge();
    }
}

void OsbWriter::writePackedIndices(const FieldContainerPtr& property)
{
    const Field& field = *property->getField("indices");
    const UInt32* const indices = static_cast<const UInt32*>(field.getBlock());
    const UInt32 count = field.getSize();
    UInt32 maxIndex = 0;
    for (UInt32 i = 0; i < count; ++i)
        maxIndex = std::max(maxIndex, indices[i]);
    const UInt32 bits = std::max(osbPackedBits(maxIndex), UInt32(1));
    const UInt32 bytes = static_cast<UInt32>((UInt64(count) * bits + 7) / 8);

    putString(osbPackedIndices.data(), osbPackedIndices.size());
    putString(osbPackedIndicesType.data(), osbPackedIndicesType.size());
    putU32(8 + bytes); // deliberately 4 less than what follows: readers of this form rely on knowing it
    putU32(maxIndex);
    putU32(count);
    putU32(bytes);
    UInt64 window = 0; // its low `held` bits are still to be written
    UInt32 held = 0;
    for (UInt32 i = 0; i < count; ++i) {
        window = window << bits | indices[i];
        for (held += bits; held >= 8; held -= 8)
            putU8(static_cast<UInt8>(window >> (held - 8)));
        if (i % 4096 == 0)
            flushIfLarge();
    }
    if (held != 0)
        putU8(static_cast<UInt8>(window << (8 - held)));
}

// -- Bytes ------------------------------------------------------------------------------------------

void OsbWriter::putU16(UInt16 value)
{
    putU8(static_cast<UInt8>(value >> 8));
    putU8(static_cast<UInt8>(value & 0xff));
}

void OsbWriter::putU32(UInt32 value)
{
    const Char8 bytes[4] = {static_cast<Char8>(value >> 24), static_cast<Char8>(value >> 16 & 0xff),
                            static_cast<Char8>(value >> 8 & 0xff), static_cast<Char8>(value & 0xff)};
    _buffer.append(bytes, 4);
}

void OsbWriter::putReal32(Real32 value)
{
    UInt32 bits;
    std::memcpy(&bits, &value, sizeof(bits));
    putU32(bits);
}

void OsbWriter::appendString(std::string& buffer, const Char8* text, std::size_t length)
{
    const UInt32 stored = static_cast<UInt32>(length + 1);
    for (Int32 shift = 24; shift >= 0; shift -= 8)
        buffer.push_back(static_cast<Char8>(stored >> shift & 0xff));
    buffer.append(text, length);
    buffer.push_back('\0');
}

void OsbWriter::putUnits(const void* source, std::size_t unitCount, UInt32 unitSize)
{
    constexpr std::size_t piece = std::size_t(1) << 17; // units: large arrays go out in pieces
    const UInt8* in = static_cast<const UInt8*>(source);
    while (unitCount != 0) {
        const std::size_t count = std::min(unitCount, piece);
        const std::size_t start = _buffer.size();
        _buffer.resize(start + count * unitSize);
        osbCopyUnits(&_buffer[start], in, count, unitSize);
        in += count * unitSize;
        unitCount -= count;
        flushIfLarge();
    }
}

void OsbWriter::flushIfLarge()
{
    if (_buffer.size() >= (std::size_t(1) << 20)) {
        _out->write(_buffer.data(), static_cast<std::streamsize>(_buffer.size()));
        _buffer.clear();
    }
}

OSG_END_NAMESPACE
