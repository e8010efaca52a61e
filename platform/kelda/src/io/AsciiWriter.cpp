#include "io/AsciiWriter.h"

#include "command/Script.h"
#include "io/NumberText.h"

#include <algorithm>

namespace kelda
{

namespace
{

// Lines hold a fixed number of values, so that a changed value changes one line.
constexpr size_t kPointsPerLine = 4;
constexpr size_t kNormalsPerLine = 4;
constexpr size_t kUVsPerLine = 6;
constexpr size_t kIntsPerLine = 24;
constexpr size_t kKeysPerLine = 4;
constexpr size_t kKnotsPerLine = 8;
constexpr size_t kCVsPerLine = 2;
constexpr size_t kTrimRowsPerLine = 6;
constexpr size_t kMembersPerLine = 4;
constexpr size_t kRangesPerLine = 8;

// A reference by path costs as much as the node lies deep; below this depth it is by number.
constexpr uint16_t kMaxPathDepth = 16;

} // namespace

// -- Frame ----------------------------------------------------------------------------------------

bool AsciiWriter::begin(int version)
{
    _text += "//Kelda ASCII ";
    appendNumber(_text, version);
    _text += " scene\n";
    return true;
}

bool AsciiWriter::unit(LinearUnit unit)
{
    _text += std::string("currentUnit -linear \"") + fullName(unit) + "\";\n";
    return true;
}

bool AsciiWriter::timeUnit(KTime::Unit unit)
{
    _text += std::string("currentUnit -time \"") + fullName(unit) + "\";\n";
    return true;
}

bool AsciiWriter::end()
{
    finishMembers();
    _text += "//End of scene\n";
    return flush(0);
}

bool AsciiWriter::flush(size_t atLeast)
{
    if (_text.size() < atLeast)
        return true;
    const bool done = _output.write(_text.data(), _text.size());
    _text.clear();
    return done || fail(_output.error());
}

// -- Nodes ----------------------------------------------------------------------------------------

// How a node is named where it is referred to: by its name if no other node bears it, otherwise by its path,
// and deep down by its number among the nodes that this file creates.
void AsciiWriter::reference(FileIndex index)
{
    const Written& node = _nodes[index];
    if (node.nameIsUnique) {
        _text += node.name;
    } else if (node.depth > kMaxPathDepth) {
        _text += '#';
        appendNumber(_text, node.number);
    } else {
        FileIndex path[kMaxPathDepth + 1];
        size_t count = 0;
        for (FileIndex i = index; i != kNoIndex; i = _nodes[i].parent)
            path[count++] = i;
        while (count > 0)
            _text += '|' + _nodes[path[--count]].name;
    }
}

bool AsciiWriter::node(FileIndex index, const NodeType* type, std::string_view name, FileIndex parent,
                       bool nameIsUnique)
{
    uint16_t depth = 1;
    if (parent != kNoIndex)
        depth = static_cast<uint16_t>(std::min<int>(_nodes[parent].depth + 1, kMaxPathDepth + 1));
    _nodes.push_back({std::string(name), parent, _created++, depth, nameIsUnique});
    (void)index; // nodes come in order: it is the place in _nodes
    _type = type;
    _named = false;
    _text += std::string("createNode ") + type->name() + " -name \"";
    _text.append(name);
    _text += '"';
    if (parent != kNoIndex) {
        _text += " -parent \"";
        reference(parent);
        _text += '"';
    }
    _text += ";\n";
    return flush();
}

const NodeType* AsciiWriter::defaultNode(FileIndex, std::string_view name)
{
    const Scene& scene = Scene::current();
    NodeId id = kNoNode;
    if (!scene.find(name, id))
        return nullptr;
    _nodes.push_back({std::string(name), kNoIndex, 0, 0, true});
    _type = scene.node(id)->type;
    _named = true;
    return _type;
}

bool AsciiWriter::instance(FileIndex child, FileIndex parent)
{
    _text += "parent -add \"";
    reference(child);
    if (parent != kNoIndex) {
        _text += "\" \"";
        reference(parent);
        _text += "\";\n";
    } else {
        _text += "\" -world;\n";
    }
    return flush();
}

bool AsciiWriter::parentOrder(FileIndex child, const FileIndex* parents, size_t count)
{
    _text += "parent -order \"";
    reference(child);
    _text += '"';
    for (size_t i = 0; i < count; ++i) {
        _text += i % 8 == 7 ? "\n    \"" : " \"";
        if (parents[i] == kNoIndex)
            _text += '|';
        else
            reference(parents[i]);
        _text += '"';
    }
    _text += ";\n";
    return flush();
}

// -- Values ---------------------------------------------------------------------------------------

void AsciiWriter::attrStart(int attr, int32_t element)
{
    _text += "    setAttr \"";
    if (_named)
        _text += _nodes.back().name;
    _text += '.';
    _text += _type->attr(attr).name;
    if (element >= 0) {
        _text += '[';
        appendNumber(_text, element);
        _text += ']';
    }
    _text += '"';
}

bool AsciiWriter::numbers(int attr, const double* values, int count)
{
    attrStart(attr);
    const AttrKind kind = _type->attr(attr).kind;
    for (int i = 0; i < count; ++i) {
        _text += ' ';
        if (kind == AttrKind::Float)
            appendNumber(_text, static_cast<float>(values[i]));
        else if (kind == AttrKind::Bool || kind == AttrKind::Int || kind == AttrKind::Enum)
            appendNumber(_text, static_cast<int32_t>(values[i]));
        else
            appendNumber(_text, values[i]);
    }
    _text += ";\n";
    return true;
}

bool AsciiWriter::text(int attr, int32_t element, std::string_view value)
{
    attrStart(attr, element);
    _text += " -type \"string\" \"" + escape(value) + "\";\n";
    return true;
}

template <class Vector>
bool AsciiWriter::array(const std::string& attr, const char* type, const Vector& values, size_t perLine)
{
    _text += "    setAttr \"." + attr + "\" -type \"" + type + "\" ";
    appendNumber(_text, values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        _text += i % perLine == 0 ? "\n        " : " ";
        appendNumber(_text, values[i]);
        if (i % 4096 == 4095 && !flush())
            return false;
    }
    _text += ";\n";
    return true;
}

bool AsciiWriter::uvs(const std::string& attr, const UVSet& set)
{
    _text += "    setAttr \"." + attr + "\" -type \"floatArray\" ";
    appendNumber(_text, set.u.size() * 2);
    for (size_t i = 0; i < set.u.size(); ++i) {
        _text += i % kUVsPerLine == 0 ? "\n        " : " ";
        appendNumber(_text, set.u[i]);
        _text += ' ';
        appendNumber(_text, set.v[i]);
        if (i % 4096 == 4095 && !flush())
            return false;
    }
    _text += ";\n";
    return true;
}

bool AsciiWriter::mesh(MeshData& mesh)
{
    if (!array("points", "floatArray", mesh.points, 3 * kPointsPerLine) ||
        !array("faceCounts", "intArray", mesh.faceCounts, kIntsPerLine) ||
        !array("faceVertices", "intArray", mesh.faceVertices, kIntsPerLine))
        return false;
    if (!mesh.normals.empty() && (!array("normals", "floatArray", mesh.normals, 3 * kNormalsPerLine) ||
                                  !array("normalIds", "intArray", mesh.normalIds, kIntsPerLine)))
        return false;
    for (size_t i = 0; i < mesh.uvSets.size(); ++i) {
        const UVSet& set = mesh.uvSets[i];
        const std::string attr = "uvSets[" + std::to_string(i) + "].";
        _text += "    setAttr \"." + attr + "uvSetName\" -type \"string\" \"" + escape(set.name) + "\";\n";
        if (!set.u.empty() && !uvs(attr + "uvs", set))
            return false;
        if (!set.ids.empty() && !array(attr + "uvIds", "intArray", set.ids, kIntsPerLine))
            return false;
    }
    return flush();
}

bool AsciiWriter::keys(KeyData& keys)
{
    _text += "    setAttr \".keys\" -type \"doubleArray\" ";
    appendNumber(_text, keys.count() * 2);
    for (size_t i = 0; i < keys.count(); ++i) {
        _text += i % kKeysPerLine == 0 ? "\n        " : " ";
        appendNumber(_text, keys.times[i]);
        _text += ' ';
        appendNumber(_text, keys.values[i]);
        if (i % 4096 == 4095 && !flush())
            return false;
    }
    _text += ";\n";
    return flush();
}

bool AsciiWriter::doubles(const char* attr, const PodVector<double>& values, size_t perLine)
{
    return array(attr, "doubleArray", values, perLine);
}

bool AsciiWriter::surface(SurfaceData& surface)
{
    const std::vector<int32_t> kind = {surface.degreeU,
                                       surface.degreeV,
                                       static_cast<int32_t>(surface.formU),
                                       static_cast<int32_t>(surface.formV),
                                       surface.rational ? 1 : 0,
                                       surface.flipped ? 1 : 0};
    if (!array("surface", "intArray", kind, kIntsPerLine) ||
        !doubles("knotsU", surface.knotsU, kKnotsPerLine) ||
        !doubles("knotsV", surface.knotsV, kKnotsPerLine) ||
        !doubles("cvs", surface.cvs, surface.stride() * kCVsPerLine))
        return false;
    const TrimData& trims = surface.trims;
    if (trims.empty())
        return flush();
    const std::vector<double> tolerances = {trims.edgeTolerance, trims.paramTolerance};
    return array("trimBoundaries", "intArray", trims.boundaries, TrimData::kBoundaryRow * kTrimRowsPerLine) &&
           array("trimCurves", "intArray", trims.curves, TrimData::kCurveRow * kTrimRowsPerLine) &&
           array("trimTolerances", "doubleArray", tolerances, kKnotsPerLine) &&
           doubles("trimKnots", trims.knots, kKnotsPerLine) && doubles("trimCVs", trims.cvs, kKnotsPerLine) &&
           flush();
}

bool AsciiWriter::curve(CurveData& curve)
{
    const std::vector<int32_t> kind = {curve.degree, static_cast<int32_t>(curve.form),
                                       curve.rational ? 1 : 0};
    return array("curve", "intArray", kind, kIntsPerLine) && doubles("knots", curve.knots, kKnotsPerLine) &&
           doubles("cvs", curve.cvs, curve.view().stride() * kCVsPerLine) && flush();
}

// -- Relations ------------------------------------------------------------------------------------

void AsciiWriter::finishMembers()
{
    if (_set == kNoIndex)
        return;
    _text += ";\n";
    _set = kNoIndex;
}

void AsciiWriter::memberStart(FileIndex node, uint32_t instance)
{
    _text += _membersOnLine++ % kMembersPerLine == 0 ? "\n    \"" : " \"";
    reference(node);
    if (instance != 0) {
        _text += ':';
        appendNumber(_text, instance);
    }
}

bool AsciiWriter::member(FileIndex set, FileIndex node, uint32_t instance, const FaceSet* faces)
{
    if (set != _set) {
        finishMembers();
        _set = set;
        _membersOnLine = 0;
        _text += "sets -edit -addElement \"";
        reference(set);
        _text += '"';
    }
    if (!faces) {
        memberStart(node, instance);
        _text += '"';
        return flush();
    }
    // Faces stand on lines of their own; where they fill more than one, the member is named again.
    for (size_t i = 0; i < faces->ranges.size(); ++i) {
        if (i % kRangesPerLine == 0) {
            _membersOnLine = 0;
            memberStart(node, instance);
            _text += ".f[";
        } else {
            _text += ',';
        }
        const FaceRange& range = faces->ranges[i];
        appendNumber(_text, range.first);
        if (range.last != range.first) {
            _text += ':';
            appendNumber(_text, range.last);
        }
        if (i % kRangesPerLine == kRangesPerLine - 1 || i + 1 == faces->ranges.size())
            _text += "]\"";
    }
    _membersOnLine = 0;
    return flush();
}

bool AsciiWriter::connection(FileIndex source, std::string_view sourceAttr, FileIndex destination,
                             std::string_view destinationAttr)
{
    finishMembers();
    _text += "connectAttr \"";
    reference(source);
    _text += '.';
    _text.append(sourceAttr);
    _text += "\" \"";
    reference(destination);
    _text += '.';
    _text.append(destinationAttr);
    _text += "\";\n";
    return flush();
}

} // namespace kelda
