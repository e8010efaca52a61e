#include "SceneJson.h"

#include "MaterialLook.h"
#include "Statistics.h"
#include "SurfaceInfo.h"

#include <OpenSG/OSGDrawable.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGMField.h>
#include <OpenSG/OSGMaterial.h>
#include <OpenSG/OSGSField.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <xxhash.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

namespace zyscene
{

namespace
{

// -- Field values ------------------------------------------------------------------------------------

enum class Number { Bool, Int8, UInt8, Int16, UInt16, Int32, UInt32, Int64, UInt64, Real32, Real64 };

// How the values of a field type are shown: a number, or a tuple of so many.
struct ElementRow {
    const char* name;
    Number number;
    unsigned int count;
};

const ElementRow elementRows[] = {
    {"Bool", Number::Bool, 1},      {"Int8", Number::Int8, 1},      {"UInt8", Number::UInt8, 1},
    {"Int16", Number::Int16, 1},    {"UInt16", Number::UInt16, 1},  {"Int32", Number::Int32, 1},
    {"UInt32", Number::UInt32, 1},  {"Int64", Number::Int64, 1},    {"UInt64", Number::UInt64, 1},
    {"GLenum", Number::UInt32, 1},  {"Real32", Number::Real32, 1},  {"Real64", Number::Real64, 1},
    {"Time", Number::Real64, 1},    {"Vec2f", Number::Real32, 2},   {"Vec3f", Number::Real32, 3},
    {"Vec4f", Number::Real32, 4},   {"Pnt2f", Number::Real32, 2},   {"Pnt3f", Number::Real32, 3},
    {"Pnt4f", Number::Real32, 4},   {"Vec2d", Number::Real64, 2},   {"Vec3d", Number::Real64, 3},
    {"Vec4d", Number::Real64, 4},   {"Pnt2d", Number::Real64, 2},   {"Pnt3d", Number::Real64, 3},
    {"Pnt4d", Number::Real64, 4},   {"Vec2s", Number::Int16, 2},    {"Vec3s", Number::Int16, 3},
    {"Vec4s", Number::Int16, 4},    {"Pnt2s", Number::Int16, 2},    {"Pnt3s", Number::Int16, 3},
    {"Pnt4s", Number::Int16, 4},    {"Vec2us", Number::UInt16, 2},  {"Vec3us", Number::UInt16, 3},
    {"Vec4us", Number::UInt16, 4},  {"Vec2b", Number::Int8, 2},     {"Vec3b", Number::Int8, 3},
    {"Vec4b", Number::Int8, 4},     {"Vec2ub", Number::UInt8, 2},   {"Vec3ub", Number::UInt8, 3},
    {"Vec4ub", Number::UInt8, 4},   {"Color3f", Number::Real32, 3}, {"Color4f", Number::Real32, 4},
    {"Color3ub", Number::UInt8, 3}, {"Color4ub", Number::UInt8, 4}, {"Quaternion", Number::Real32, 4},
    {"Matrix", Number::Real32, 16},
};

const ElementRow* findElement(const osg::FieldType& type)
{
    for (const ElementRow& row : elementRows) {
        if (std::strcmp(row.name, type.getElementName()) == 0)
            return &row;
    }
    return nullptr;
}

template <class ValueT>
ValueT at(const void* data, unsigned int i)
{
    ValueT value;
    std::memcpy(&value, static_cast<const char*>(data) + i * sizeof(ValueT), sizeof(ValueT));
    return value;
}

void writeNumber(JsonWriter& json, Number number, const void* data, unsigned int i)
{
    switch (number) {
    case Number::Bool:
        json.value(at<std::uint8_t>(data, i) != 0);
        break;
    case Number::Int8:
        json.value(std::int32_t(at<std::int8_t>(data, i)));
        break;
    case Number::UInt8:
        json.value(std::uint32_t(at<std::uint8_t>(data, i)));
        break;
    case Number::Int16:
        json.value(std::int32_t(at<std::int16_t>(data, i)));
        break;
    case Number::UInt16:
        json.value(std::uint32_t(at<std::uint16_t>(data, i)));
        break;
    case Number::Int32:
        json.value(at<std::int32_t>(data, i));
        break;
    case Number::UInt32:
        json.value(at<std::uint32_t>(data, i));
        break;
    case Number::Int64:
        json.value(at<std::int64_t>(data, i));
        break;
    case Number::UInt64:
        json.value(at<std::uint64_t>(data, i));
        break;
    case Number::Real32:
        json.value(at<float>(data, i));
        break;
    case Number::Real64:
        json.value(at<double>(data, i));
        break;
    }
}

void writeElement(JsonWriter& json, const ElementRow& row, const void* data)
{
    if (row.count == 1) {
        writeNumber(json, row.number, data, 0);
        return;
    }
    json.beginArray(JsonWriter::OneLine);
    for (unsigned int i = 0; i < row.count; ++i) {
        // A matrix lies in memory column after column and is shown row by row.
        writeNumber(json, row.number, data, row.count == 16 ? i % 4 * 4 + i / 4 : i);
    }
    json.endArray();
}

// Values that are neither handles nor attachment maps.
void writeValues(JsonWriter& json, const osg::Field& field)
{
    const osg::FieldType& type = field.getType();
    const bool single = type.getCardinality() == osg::FieldType::SINGLE_FIELD;
    const ElementRow* const row = findElement(type);
    if (row != nullptr && (field.getSize() == 0 || field.getBlock() != nullptr)) {
        const char* const data = static_cast<const char*>(field.getBlock());
        if (single) {
            writeElement(json, *row, data);
            return;
        }
        json.beginArray(JsonWriter::OneLine);
        for (osg::UInt32 i = 0; i < field.getSize(); ++i)
            writeElement(json, *row, data + std::size_t(i) * type.getElementSize());
        json.endArray();
    } else if (type == osg::SFString::getClassType()) {
        json.value(std::string_view(static_cast<const osg::SFString&>(field).getValue()));
    } else if (type == osg::MFString::getClassType()) {
        json.beginArray(JsonWriter::OneLine);
        for (const std::string& text : static_cast<const osg::MFString&>(field))
            json.value(std::string_view(text));
        json.endArray();
    } else {
        std::string text;
        json.value(std::string_view(field.getValueByStr(text)));
    }
}

// -- The scene ---------------------------------------------------------------------------------------

// Numbers for containers in the order in which they are met, from 1.
class Numbering
{
public:
    /// @param first set to whether the container is met for the first time
    std::uint64_t of(const osg::FieldContainerPtr& container, bool& first)
    {
        const auto found = _numbers.emplace(container.getBaseCPtr(), _numbers.size() + 1);
        first = found.second;
        return found.first->second;
    }

private:
    std::unordered_map<const void*, std::uint64_t> _numbers;
};

std::string hexOf(std::uint64_t number)
{
    char text[17];
    std::snprintf(text, sizeof(text), "%016llx", static_cast<unsigned long long>(number));
    return text;
}

class SceneWriter
{
public:
    SceneWriter(JsonWriter& json, const Scene& scene, bool arrays, const TessellationOptions& tessellation)
        : _json(json), _scene(scene), _arrays(arrays), _tessellation(tessellation)
    {
    }

    void writeTree(const osg::NodePtr& root);
    void writeMaterials();

private:
    void beginNode(const osg::NodePtr& node);
    void writeCore(const osg::NodeCorePtr& core);
    void writeSurface(const osg::Surface& surface);
    void writeAttachments(const osg::FieldContainerPtr& container, bool withName);
    void writeFields(const osg::FieldContainerPtr& container, osg::UInt32 firstField);
    void writeHandle(const osg::FieldContainerPtr& target);
    void writeProperty(const osg::FieldContainerPtr& property);
    void writeImage(const osg::ImagePtr& image);
    void writeName(const char* name);

    JsonWriter& _json;
    const Scene& _scene;
    bool _arrays;
    const TessellationOptions& _tessellation;
    Numbering _cores;
    Numbering _properties;
    std::unordered_map<std::uint64_t, std::uint64_t> _hashes; ///< by number of the property
    std::unordered_map<const void*, std::uint64_t> _imageHashes;
    Numbering _materialNumbers;
    std::vector<osg::FieldContainerPtr> _materials; ///< in the order of their numbers
};

void SceneWriter::writeName(const char* name)
{
    _json.key("name");
    if (name != nullptr)
        _json.value(name);
    else
        _json.null();
}

void SceneWriter::writeTree(const osg::NodePtr& root)
{
    struct Level {
        osg::NodePtr node;
        osg::UInt32 nextChild;
    };
    std::vector<Level> levels;
    beginNode(root);
    levels.push_back({root, 0});
    while (!levels.empty()) {
        Level& level = levels.back();
        if (level.nextChild < level.node->getNChildren()) {
            const osg::NodePtr child = level.node->getChild(level.nextChild++);
            beginNode(child);
            levels.push_back({child, 0});
        } else {
            _json.endArray(); // children
            _json.endObject();
            levels.pop_back();
        }
    }
}

// Leaves the array of the children open.
void SceneWriter::beginNode(const osg::NodePtr& node)
{
    _json.beginObject();
    writeName(osg::getName(node));
    _json.member("active", node->getActive());
    _json.key("attachments");
    writeAttachments(node, false);
    _json.key("core");
    writeCore(node->getCore());
    _json.key("children");
    _json.beginArray();
}

void SceneWriter::writeCore(const osg::NodeCorePtr& core)
{
    if (core == osg::NullFC) {
        _json.null();
        return;
    }
    bool first = false;
    const std::uint64_t id = _cores.of(core, first);
    _json.beginObject(first ? JsonWriter::Lines : JsonWriter::OneLine);
    _json.member("id", id);
    _json.member("type", core->getTypeName());
    if (first) {
        if (!core->getSFAttachments()->getValue().empty()) {
            _json.key("attachments");
            writeAttachments(core, true);
        }
        writeFields(core, osg::AttachmentContainer::AttachmentsFieldId + 1);
        const osg::DrawablePtr drawable = osg::DrawablePtr::dcast(core);
        if (drawable != osg::NullFC && drawable->getTransform() != osg::NullFC) {
            _json.key("transform");
            _json.beginObject();
            _json.member("type", drawable->getTransform()->getTypeName());
            writeFields(drawable->getTransform(), osg::AttachmentContainer::AttachmentsFieldId + 1);
            _json.endObject();
        }
        const osg::SurfacePtr surface = osg::SurfacePtr::dcast(core);
        if (surface != osg::NullFC)
            writeSurface(*surface);
    }
    _json.endObject();
}

// What its fields do not tell at a glance.
void SceneWriter::writeSurface(const osg::Surface& surface)
{
    const SurfaceInfo info = describeSurface(surface, _tessellation);
    _json.key("surface");
    _json.beginObject(JsonWriter::OneLine);
    _json.member("pointsU", info.u.points);
    _json.member("pointsV", info.v.points);
    _json.member("formU", nameOf(info.u.form));
    _json.member("formV", nameOf(info.v.form));
    _json.member("rational", info.rational);
    _json.member("trimLoops", info.trimLoops);
    _json.member("triangles", info.triangles);
    _json.key("problem");
    if (info.problem.empty())
        _json.null();
    else
        _json.value(std::string_view(info.problem));
    _json.endObject();
}

void SceneWriter::writeAttachments(const osg::FieldContainerPtr& container, bool withName)
{
    // Their map is ordered by numbers that differ from process to process; classes and bindings do not.
    struct Entry {
        osg::FieldContainerPtr attachment;
        osg::UInt32 binding;
    };
    std::vector<Entry> entries;
    const osg::AttachmentContainerPtr holder = osg::AttachmentContainerPtr::dcast(container);
    for (const auto& row : holder->getSFAttachments()->getValue()) {
        if (row.second != osg::NullFC && (withName || !isKindOf(row.second, "Name")))
            entries.push_back({row.second, row.first & 0xffff});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        const int order = std::strcmp(a.attachment->getTypeName(), b.attachment->getTypeName());
        return order != 0 ? order < 0 : a.binding < b.binding;
    });

    _json.beginArray();
    for (const Entry& entry : entries) {
        const osg::FieldContainerPtr& attachment = entry.attachment;
        _json.beginObject(JsonWriter::OneLine);
        _json.member("type", attachment->getTypeName());
        const osg::Field* const keys = attachment->getField("keys");
        const osg::Field* const values = attachment->getField("values");
        if (isKindOf(attachment, "ValuePair") && keys != nullptr && values != nullptr &&
            keys->getType() == osg::MFString::getClassType() &&
            values->getType() == osg::MFString::getClassType()) {
            const auto& key = static_cast<const osg::MFString&>(*keys);
            const auto& value = static_cast<const osg::MFString&>(*values);
            _json.key("pairs");
            _json.beginArray();
            for (osg::UInt32 i = 0; i < std::min(key.getSize(), value.getSize()); ++i) {
                _json.beginObject();
                _json.member("key", std::string_view(key[i]));
                _json.member("value", std::string_view(value[i]));
                _json.endObject();
            }
            _json.endArray();
        } else {
            writeFields(attachment, osg::Attachment::InternalFieldId + 1);
        }
        _json.endObject();
    }
    _json.endArray();
}

void SceneWriter::writeFields(const osg::FieldContainerPtr& container, osg::UInt32 firstField)
{
    const osg::FieldContainerType& type = container->getType();
    for (osg::UInt32 id = firstField; id <= type.getNumFieldDescs(); ++id) {
        const osg::FieldDescription* const description = type.getFieldDescription(id);
        if (description == nullptr || description->isInternal())
            continue;
        const osg::Field* const field = container->getField(id);
        _json.key(description->getCName());
        if (!field->isPointerField()) {
            writeValues(_json, *field);
        } else if (field->getCardinality() == osg::FieldType::SINGLE_FIELD) {
            writeHandle(field->getContainer(0));
        } else {
            _json.beginArray();
            for (osg::UInt32 i = 0; i < field->getContainerCount(); ++i)
                writeHandle(field->getContainer(i));
            _json.endArray();
        }
    }
}

// What a field refers to. Nothing here refers to anything that would lead back: chunks are leaves.
void SceneWriter::writeHandle(const osg::FieldContainerPtr& target)
{
    if (target == osg::NullFC) {
        _json.null();
    } else if (isKindOf(target, "Material")) {
        bool first = false;
        const std::uint64_t id = _materialNumbers.of(target, first);
        if (first)
            _materials.push_back(target);
        _json.value(id);
    } else if (std::strncmp(target->getTypeName(), "Geo", 3) == 0 && target->getType().isAttachment()) {
        writeProperty(target);
    } else if (osg::ImagePtr::dcast(target) != osg::NullFC) {
        writeImage(osg::ImagePtr::dcast(target));
    } else if (isKindOf(target, "StateChunk")) {
        _json.beginObject();
        _json.member("type", target->getTypeName());
        writeFields(target, osg::Attachment::InternalFieldId + 1);
        _json.endObject();
    } else {
        _json.beginObject(JsonWriter::OneLine);
        _json.member("type", target->getTypeName());
        const osg::AttachmentContainerPtr named = osg::AttachmentContainerPtr::dcast(target);
        writeName(osg::getName(named));
        _json.endObject();
    }
}

void SceneWriter::writeProperty(const osg::FieldContainerPtr& property)
{
    const osg::Field& values = *valuesOf(property);
    bool first = false;
    const std::uint64_t id = _properties.of(property, first);
    if (first) {
        _hashes[id] =
            XXH3_64bits(values.getBlock(), std::size_t(values.getSize()) * values.getType().getElementSize());
    }

    _json.beginObject(JsonWriter::OneLine);
    _json.member("id", id);
    _json.member("type", property->getTypeName());
    _json.member("size", std::uint64_t(values.getSize()));
    _json.member("hash", std::string_view(hexOf(_hashes[id])));
    if (_arrays && first) {
        _json.key("values");
        writeValues(_json, values);
    }
    _json.endObject();
}

void SceneWriter::writeImage(const osg::ImagePtr& image)
{
    const auto found = _imageHashes.emplace(image.getBaseCPtr(), 0);
    if (found.second)
        found.first->second = XXH3_64bits(image->getPixel().data(), image->getPixel().size());
    _json.beginObject(JsonWriter::OneLine);
    _json.member("name", std::string_view(_scene.nameOf(image)));
    _json.member("width", image->getWidth());
    _json.member("height", image->getHeight());
    _json.member("pixelFormat", std::string_view(nameOfPixelFormat(image->getPixelFormat())));
    _json.member("hash", std::string_view(hexOf(found.first->second)));
    _json.endObject();
}

void SceneWriter::writeMaterials()
{
    _json.key("materials");
    _json.beginArray();
    // A material may name others, which join the list while it is written.
    for (std::size_t i = 0; i < _materials.size(); ++i) {
        const osg::FieldContainerPtr material = _materials[i];
        bool first = false;
        _json.beginObject();
        _json.member("id", _materialNumbers.of(material, first));
        _json.member("type", material->getTypeName());
        writeName(osg::getName(osg::AttachmentContainerPtr::dcast(material)));
        writeFields(material, osg::AttachmentContainer::AttachmentsFieldId + 1);
        _json.endObject();
    }
    _json.endArray();
}

void writeStatistics(JsonWriter& json, const osg::NodePtr& root, const TessellationOptions& tessellation)
{
    const Statistics statistics = countScene(root, &tessellation);
    json.key("statistics");
    json.beginObject();
    for (const StatisticsRow& row : statisticsRows)
        json.member(row.name, statistics.*row.count);
    json.key("drawn");
    json.beginObject(JsonWriter::OneLine);
    json.member("primitives", statistics.drawnPrimitives);
    json.member("triangles", statistics.drawnTriangles);
    json.endObject();
    json.endObject();
}
} // namespace

void writeScene(JsonWriter& json, const Scene& scene, bool arrays, const TessellationOptions& tessellation)
{
    SceneWriter writer(json, scene, arrays, tessellation);
    json.key("root");
    if (scene.root() != osg::NullFC)
        writer.writeTree(scene.root());
    else
        json.null();
    writer.writeMaterials();
    if (scene.root() != osg::NullFC) {
        writeStatistics(json, scene.root(), tessellation);
    } else {
        json.key("statistics");
        json.null();
    }
    writeDiagnostics(json, scene);
}

void writeDiagnostics(JsonWriter& json, const Scene& scene)
{
    json.key("messages");
    json.beginArray();
    for (const Message& message : scene.messages()) {
        json.beginObject(JsonWriter::OneLine);
        json.member("channel", nameOf(message.channel));
        json.member("text", std::string_view(message.text));
        json.endObject();
    }
    json.endArray();

    json.key("progress");
    json.beginArray(JsonWriter::OneLine);
    for (const ProgressRecord::Run& run : scene.progress().runs()) {
        json.beginObject();
        json.member("percent", run.percent);
        json.member("times", run.times);
        json.endObject();
    }
    json.endArray();
}

} // namespace zyscene
