#include "io/AsciiReader.h"

#include "base/FlatMap.h"

#include <algorithm>
#include <unordered_map>

namespace kelda
{

namespace
{

constexpr std::string_view kFirstLine = "//Kelda ASCII ";

std::string quoted(std::string_view text)
{
    constexpr size_t kShown = 80;
    return '"' + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

/// Cuts a whole number off the front. False: there is none, or it does not fit.
template <class T>
bool cutNumber(std::string_view& text, T& value)
{
    const std::from_chars_result r = std::from_chars(text.data(), text.data() + text.size(), value);
    if (r.ec != std::errc())
        return false;
    text.remove_prefix(static_cast<size_t>(r.ptr - text.data()));
    return true;
}

bool cutText(std::string_view& text, std::string_view start)
{
    if (text.substr(0, start.size()) != start)
        return false;
    text.remove_prefix(start.size());
    return true;
}

class AsciiReader : public StatementSink
{
public:
    AsciiReader(std::string_view script, SceneSink& sink) : _script(script), _sink(sink) {}

    bool run(ScriptError& error);
    bool statement(const Statement& statement, ScriptError& error) override;

private:
    using Handler = bool (AsciiReader::*)();
    struct Command {
        std::string_view name;
        Handler handler;
    };
    static const Command kCommands[];

    struct NodeUse {
        const NodeType* type; ///< null: left out
        uint32_t name;
    };
    struct NameUse {
        uint32_t id;
        FileIndex first;
        uint32_t count;
    };

    // -- commands
    bool currentUnit();
    bool createNode();
    bool setAttr();
    bool parent();
    bool sets();
    bool connectAttr();

    // -- their pieces
    bool setValue(const Argument& where, std::string_view attr);
    bool setMeshArray(const Argument& where, std::string_view attr);
    bool setUVs(const Argument& where, std::string_view attr);
    bool setKeys(const Argument& where, std::string_view attr);
    bool setNurbsArray(const Argument& where, std::string_view attr);
    template <class T>
    bool numberArray(const char* type, PodVector<T>& out, const Argument& where);
    bool floats(PodVector<float>& out, const Argument& where)
    {
        return numberArray("floatArray", out, where);
    }
    bool ints(PodVector<int32_t>& out, const Argument& where) { return numberArray("intArray", out, where); }
    bool doubles(PodVector<double>& out, const Argument& where)
    {
        return numberArray("doubleArray", out, where);
    }
    bool arrayRun(const char* type, NumberReader& reader, uint64_t& count, const Argument*& run);
    bool finishShape();
    bool finishMesh();
    bool finishNurbs();
    bool member(FileIndex set, const Argument& arg);
    bool plug(const Argument& arg, FileIndex& node, std::string_view& attr);
    bool resolve(const Argument& arg, std::string_view text, FileIndex& out);
    bool useDefaultNode(const Argument& arg, std::string_view name, FileIndex& out);
    bool unknown(const Argument& where, const std::string& what);

    // -- arguments
    const Argument* arg(size_t i) const { return i < _statement->argCount ? _statement->args + i : nullptr; }
    bool isText(const Argument* a) const
    {
        return a && (a->kind == TokenKind::String || a->kind == TokenKind::Word);
    }
    bool isFlag(const Argument* a, std::string_view name) const
    {
        return a && a->kind == TokenKind::Flag && a->text == name;
    }
    bool fail(size_t offset, const std::string& text)
    {
        return _error->fail(offset, std::string(_statement->command) + ": " + text);
    }
    bool failHere(const std::string& text) { return fail(_statement->offset, text); }
    bool sinkFailed() { return failHere(_sink.error()); }

    std::string_view _script;
    SceneSink& _sink;
    ScriptError* _error = nullptr;
    const Statement* _statement = nullptr;
    bool _newer = false; ///< made by a newer version

    std::vector<NodeUse> _nodes;     ///< by file index
    std::vector<FileIndex> _created; ///< by number of the createNode statement
    std::unordered_map<std::string, NameUse> _names;
    FlatMap _children; ///< (parent's index, name) to the child's index
    FileIndex _current = kNoIndex;
    bool _currentIsDefault = false;

    MeshData _mesh; ///< of the current node, until it is complete
    bool _hasMesh = false;
    size_t _shapeOffset = 0; ///< of the statement that created it

    /// Of the current node, a NURBS surface or curve, until it is complete.
    struct Nurbs {
        PodVector<int32_t> kind; ///< degrees, forms and switches
        SurfaceData surface;     ///< of a curve: its knots and CVs stand for those in u
        PodVector<double> tolerances;
    };
    Nurbs _nurbs;
    bool _hasNurbs = false;
};

// -- Frame ----------------------------------------------------------------------------------------

const AsciiReader::Command AsciiReader::kCommands[] = {
    {"createNode", &AsciiReader::createNode},   {"setAttr", &AsciiReader::setAttr},
    {"parent", &AsciiReader::parent},           {"sets", &AsciiReader::sets},
    {"connectAttr", &AsciiReader::connectAttr}, {"currentUnit", &AsciiReader::currentUnit},
};

bool AsciiReader::run(ScriptError& error)
{
    _error = &error;
    std::string_view line = _script.substr(0, _script.find('\n'));
    int version = 0;
    if (!cutText(line, kFirstLine) || !cutNumber(line, version) || version < 1 || !cutText(line, " scene"))
        return error.fail(0, "the first line is not \"" + std::string(kFirstLine) + "<year> scene\"");
    _newer = version > kSceneVersion;
    if (!_sink.begin(version))
        return error.fail(0, _sink.error());
    if (!parseScript(_script, *this, error))
        return false;
    if (!finishShape())
        return false;
    return _sink.end() || error.fail(_script.size(), _sink.error());
}

bool AsciiReader::statement(const Statement& statement, ScriptError&)
{
    _statement = &statement;
    for (const Command& command : kCommands) {
        if (command.name != statement.command)
            continue;
        if (command.handler != &AsciiReader::setAttr && !finishShape())
            return false;
        return (this->*command.handler)();
    }
    if (!finishShape())
        return false;
    return _error->fail(statement.offset,
                        quoted(statement.command) + " is not a command that builds a scene");
}

bool AsciiReader::unknown(const Argument& where, const std::string& what)
{
    if (!_newer)
        return fail(where.offset, "there is no " + what);
    _sink.leftOut(what);
    return true;
}

// -- References -----------------------------------------------------------------------------------

bool AsciiReader::resolve(const Argument& arg, std::string_view text, FileIndex& out)
{
    if (cutText(text, "#")) {
        size_t number = 0;
        if (!cutNumber(text, number) || !text.empty() || number >= _created.size())
            return fail(arg.offset, quoted(arg.text) + " is not the number of an earlier node");
        out = _created[number];
        return true;
    }
    if (text.empty())
        return fail(arg.offset, "expected the name of a node");
    if (text[0] != '|') {
        const auto found = _names.find(std::string(text));
        if (found == _names.end())
            return useDefaultNode(arg, text, out);
        if (found->second.count > 1)
            return fail(arg.offset, "more than one node is named " + quoted(text));
        out = found->second.first;
        return true;
    }
    FileIndex node = kNoIndex;
    while (cutText(text, "|")) {
        const std::string_view step = text.substr(0, text.find('|'));
        text.remove_prefix(step.size());
        const auto name = _names.find(std::string(step));
        const uint32_t child =
            name == _names.end() ? FlatMap::kNone : _children.find((uint64_t(node) << 32) | name->second.id);
        if (child == FlatMap::kNone)
            return fail(arg.offset, "there is no node " + quoted(arg.text));
        node = child;
    }
    out = node;
    return true;
}

bool AsciiReader::useDefaultNode(const Argument& arg, std::string_view name, FileIndex& out)
{
    const FileIndex index = static_cast<FileIndex>(_nodes.size());
    const NodeType* const type = _sink.defaultNode(index, name);
    if (!type)
        return fail(arg.offset, "there is no node " + quoted(name));
    const uint32_t id = static_cast<uint32_t>(_names.size());
    _names.emplace(std::string(name), NameUse{id, index, 1});
    _nodes.push_back({type, id});
    _current = index;
    _currentIsDefault = true;
    out = index;
    return true;
}

bool AsciiReader::plug(const Argument& arg, FileIndex& node, std::string_view& attr)
{
    const size_t dot = arg.text.find('.');
    if (dot == std::string_view::npos || dot == 0)
        return fail(arg.offset, "expected \"node.attribute\"");
    attr = arg.text.substr(dot + 1);
    return resolve(arg, arg.text.substr(0, dot), node);
}

// -- Commands -------------------------------------------------------------------------------------

// currentUnit -linear "centimeter", currentUnit -time "film"
bool AsciiReader::currentUnit()
{
    LinearUnit unit = LinearUnit::Centimeter;
    const bool isTime = isFlag(arg(0), "time");
    if (_statement->argCount != 2 || !(isTime || isFlag(arg(0), "linear")) || !isText(arg(1)))
        return failHere("expected -linear or -time and a unit");
    if (isTime) {
        KTime::Unit timeUnit = KTime::kFilm;
        if (!parseTimeUnit(arg(1)->text, timeUnit))
            return fail(arg(1)->offset, quoted(arg(1)->text) + " is not a unit of time");
        return _sink.timeUnit(timeUnit) || sinkFailed();
    }
    if (!parseLinearUnit(arg(1)->text, unit))
        return fail(arg(1)->offset, quoted(arg(1)->text) + " is not a unit of length");
    return _sink.unit(unit) || sinkFailed();
}

// createNode <type> -name "name" [-parent "parent"]
bool AsciiReader::createNode()
{
    const Argument* name = nullptr;
    const Argument* above = nullptr;
    if (!isText(arg(0)))
        return failHere("expected a node type");
    for (size_t i = 1; i < _statement->argCount; i += 2) {
        const bool isName = isFlag(arg(i), "name") || isFlag(arg(i), "n");
        if (!isName && !isFlag(arg(i), "parent") && !isFlag(arg(i), "p"))
            return fail(arg(i)->offset, "expected -name or -parent");
        if (!isText(arg(i + 1)))
            return fail(arg(i)->offset, "expected a text after the flag");
        (isName ? name : above) = arg(i + 1);
    }
    if (!name)
        return failHere("expected -name");
    FileIndex parent = kNoIndex;
    if (above && !resolve(*above, above->text, parent))
        return false;
    const NodeType* type = findNodeType(arg(0)->text);
    if (!type || type->isAbstract() || type->isA(KFn::kWorld)) {
        if (!unknown(*arg(0), "node type " + quoted(arg(0)->text)))
            return false;
        type = nullptr;
    }
    const FileIndex index = static_cast<FileIndex>(_nodes.size());
    if (!_sink.node(index, type, name->text, parent, false))
        return sinkFailed();
    const auto use =
        _names.emplace(std::string(name->text), NameUse{static_cast<uint32_t>(_names.size()), index, 0})
            .first;
    if (use->second.count++ == 0)
        use->second.first = index;
    _nodes.push_back({type, use->second.id});
    _created.push_back(index);
    _children.set((uint64_t(parent) << 32) | use->second.id, index);
    _current = index;
    _currentIsDefault = false;
    _shapeOffset = _statement->offset;
    return true;
}

// parent -add "child" "parent", parent -add "child" -world, parent -order "child" "parent" ...
bool AsciiReader::parent()
{
    const bool add = isFlag(arg(0), "add");
    if (!add && !isFlag(arg(0), "order"))
        return failHere("expected -add or -order");
    if (!isText(arg(1)))
        return failHere("expected the name of a node");
    FileIndex child = kNoIndex;
    if (!resolve(*arg(1), arg(1)->text, child))
        return false;
    std::vector<FileIndex> parents;
    for (size_t i = 2; i < _statement->argCount; ++i) {
        FileIndex above = kNoIndex;
        const bool isWorld = add ? isFlag(arg(i), "world") : isText(arg(i)) && arg(i)->text == "|";
        if (!isWorld && !isText(arg(i)))
            return fail(arg(i)->offset, "expected the name of a node");
        if (!isWorld && !resolve(*arg(i), arg(i)->text, above))
            return false;
        parents.push_back(above);
    }
    if (!add)
        return _sink.parentOrder(child, parents.data(), parents.size()) || sinkFailed();
    if (parents.size() != 1)
        return failHere("expected one parent");
    return _sink.instance(child, parents[0]) || sinkFailed();
}

// connectAttr "source.attribute" "destination.attribute"
bool AsciiReader::connectAttr()
{
    if (_statement->argCount != 2 || !isText(arg(0)) || !isText(arg(1)))
        return failHere("expected two plugs");
    FileIndex nodes[2];
    std::string_view attrs[2];
    for (size_t i = 0; i < 2; ++i)
        if (!plug(*arg(i), nodes[i], attrs[i]))
            return false;
    return _sink.connection(nodes[0], attrs[0], nodes[1], attrs[1]) || sinkFailed();
}

// sets -edit -addElement "set" "shape" "shape:2" "shape.f[0:3,7]" ...
bool AsciiReader::sets()
{
    if (!isFlag(arg(0), "edit") || !isFlag(arg(1), "addElement") || !isText(arg(2)))
        return failHere("expected -edit -addElement and a set");
    FileIndex set = kNoIndex;
    if (!resolve(*arg(2), arg(2)->text, set))
        return false;
    for (size_t i = 3; i < _statement->argCount; ++i) {
        if (!isText(arg(i)))
            return fail(arg(i)->offset, "expected a member");
        if (!member(set, *arg(i)))
            return false;
    }
    return true;
}

bool AsciiReader::member(FileIndex set, const Argument& arg)
{
    std::string_view text = arg.text;
    std::string_view reference = text.substr(0, text.find_first_of(":."));
    text.remove_prefix(reference.size());
    uint32_t instance = 0;
    if (cutText(text, ":") && !cutNumber(text, instance))
        return fail(arg.offset, "expected the number of an instance after \":\"");
    FaceSet faces;
    if (cutText(text, ".f[")) {
        do {
            FaceRange range = {0, 0};
            bool good = cutNumber(text, range.first);
            range.last = range.first;
            if (good && cutText(text, ":"))
                good = cutNumber(text, range.last);
            good = good && range.first >= 0 && range.last >= range.first &&
                   (faces.ranges.empty() || range.first > faces.ranges.back().last);
            if (!good)
                return fail(arg.offset, "the faces of a member are not in ascending order");
            if (!faces.ranges.empty() && range.first == faces.ranges.back().last + 1)
                faces.ranges.back().last = range.last;
            else
                faces.ranges.push_back(range);
        } while (cutText(text, ","));
        if (!cutText(text, "]"))
            return fail(arg.offset, "expected \"]\" after the faces of a member");
    }
    if (!text.empty())
        return fail(arg.offset, quoted(arg.text) + " is not a member");
    FileIndex node = kNoIndex;
    if (!resolve(arg, reference, node))
        return false;
    if (!_sink.member(set, node, instance, faces.ranges.empty() ? nullptr : &faces))
        return fail(arg.offset, _sink.error());
    return true;
}

// -- Values ---------------------------------------------------------------------------------------

// setAttr ".attribute" ... for the node created last; setAttr "node.attribute" ... for a default node
bool AsciiReader::setAttr()
{
    const Argument* const where = arg(0);
    if (!isText(where))
        return failHere("expected an attribute");
    const size_t dot = where->text.find('.');
    if (dot == std::string_view::npos)
        return fail(where->offset, "expected \".attribute\"");
    const std::string_view name = where->text.substr(0, dot);
    const std::string_view attr = where->text.substr(dot + 1);
    if (name.empty() && (_current == kNoIndex || _currentIsDefault))
        return fail(where->offset, "no node has been created that this could be an attribute of");
    if (!name.empty()) {
        if (!finishShape())
            return false;
        const auto known = _names.find(std::string(name));
        const bool isCurrent = known != _names.end() && known->second.first == _current && _currentIsDefault;
        FileIndex index = kNoIndex;
        if (!isCurrent && known != _names.end())
            return fail(where->offset, "values are set right behind the creation of their node");
        if (!isCurrent && !useDefaultNode(*where, name, index))
            return false;
    }
    const NodeType* const type = _nodes[_current].type;
    if (!type)
        return true; // of a node that is left out
    if (type->isA(KFn::kMesh) && name.empty() && isFlag(arg(1), "type") &&
        !(arg(2) && arg(2)->text == "string"))
        return setMeshArray(*where, attr);
    if (type->isA(KFn::kAnimCurve) && attr == "keys")
        return setKeys(*where, attr);
    if (type->isA(KFn::kMesh) && name.empty() && attr.substr(0, 7) == "uvSets[")
        return setUVs(*where, attr);
    if ((type->isA(KFn::kNurbsSurface) || type->isA(KFn::kNurbsCurve)) && name.empty() &&
        isFlag(arg(1), "type") && !(arg(2) && arg(2)->text == "string"))
        return setNurbsArray(*where, attr);
    return setValue(*where, attr);
}

bool AsciiReader::setValue(const Argument& where, std::string_view attr)
{
    const NodeType& type = *_nodes[_current].type;
    int32_t element = -1;
    std::string_view ending = attr.substr(std::min(attr.find('['), attr.size()));
    const int index = type.findAttr(attr.substr(0, attr.size() - ending.size()));
    const bool isElement = !ending.empty();
    if (isElement && (!cutText(ending, "[") || !cutNumber(ending, element) || element < 0 || ending != "]"))
        return fail(where.offset, quoted(attr) + " is not an element of an attribute");
    if (index < 0)
        return unknown(where, "attribute " + quoted(std::string(type.name()) + '.' + std::string(attr)));
    const Attr& row = type.attr(index);
    const bool isComponent = !row.ownRow && row.parent >= 0 && isStored(type, row.parent);
    if ((!isComponent && !isStored(type, index)) || row.isArray() != isElement)
        return fail(where.offset, "the attribute " + quoted(attr) + " cannot be set in a file");
    if (row.kind == AttrKind::Text) {
        if (_statement->argCount != 4 || !isFlag(arg(1), "type") || arg(2)->text != "string" ||
            !isText(arg(3)))
            return fail(where.offset, "expected -type \"string\" and a text");
        return _sink.text(index, element, arg(3)->text) || sinkFailed();
    }
    const uint32_t count = static_cast<uint32_t>(componentCount(row));
    const Argument* const run = arg(1);
    constexpr uint32_t kMaxComponents = 16;
    if (_statement->argCount != 2 || run->kind != TokenKind::Numbers || run->count != count ||
        count > kMaxComponents)
        return fail(where.offset,
                    "expected " + std::to_string(count) + (count == 1 ? " number" : " numbers"));
    double values[kMaxComponents];
    NumberReader reader(run->text);
    for (uint32_t i = 0; i < count; ++i) {
        bool good = false;
        if (row.kind == AttrKind::Float) {
            float value = 0;
            good = reader.next(value);
            values[i] = static_cast<double>(value);
        } else if (row.kind == AttrKind::Bool || row.kind == AttrKind::Int || row.kind == AttrKind::Enum) {
            int32_t value = 0;
            good = reader.next(value);
            values[i] = value;
        } else {
            good = reader.next(values[i]);
        }
        if (!good)
            return fail(static_cast<size_t>(reader.where() - _script.data()), "not a number that fits here");
    }
    return _sink.numbers(index, values, static_cast<int>(count)) || sinkFailed();
}

// -- Meshes ---------------------------------------------------------------------------------------

bool AsciiReader::finishShape()
{
    return finishMesh() && finishNurbs();
}

bool AsciiReader::finishMesh()
{
    if (!_hasMesh)
        return true;
    _hasMesh = false;
    const bool done = _sink.mesh(_mesh);
    _mesh = MeshData();
    return done || _error->fail(_shapeOffset, "createNode: " + _sink.error());
}

// The numbers of an array: their count, then they themselves. Counting was the lexer's work.
bool AsciiReader::arrayRun(const char* type, NumberReader& reader, uint64_t& count, const Argument*& run)
{
    run = arg(3);
    if (_statement->argCount != 4 || !isText(arg(2)) || arg(2)->text != type ||
        run->kind != TokenKind::Numbers)
        return failHere("expected -type \"" + std::string(type) + "\", a count and as many numbers");
    reader = NumberReader(run->text);
    if (!reader.next(count) || count != run->count - uint64_t(1))
        return fail(run->offset, "the array says it has " +
                                     std::string(run->text.substr(0, run->text.find_first_of(" \n\t\r"))) +
                                     " numbers, but " + std::to_string(run->count - uint64_t(1)) + " follow");
    return true;
}

template <class T>
bool AsciiReader::numberArray(const char* type, PodVector<T>& out, const Argument& where)
{
    NumberReader reader{std::string_view()};
    uint64_t count = 0;
    const Argument* run = nullptr;
    if (!arrayRun(type, reader, count, run))
        return false;
    if (!out.empty())
        return fail(where.offset, "the array has been set before");
    out.resize(count);
    for (T& value : out)
        if (!reader.next(value))
            return fail(static_cast<size_t>(reader.where() - _script.data()), "not a number that fits here");
    return true;
}

bool AsciiReader::setMeshArray(const Argument& where, std::string_view attr)
{
    _hasMesh = true;
    if (attr == "points")
        return floats(_mesh.points, where);
    if (attr == "faceCounts")
        return ints(_mesh.faceCounts, where);
    if (attr == "faceVertices")
        return ints(_mesh.faceVertices, where);
    if (attr == "normals")
        return floats(_mesh.normals, where);
    if (attr == "normalIds")
        return ints(_mesh.normalIds, where);
    if (attr.substr(0, 7) == "uvSets[")
        return setUVs(where, attr);
    return unknown(where, "attribute " + quoted("mesh." + std::string(attr)));
}

// uvSets[<n>].uvSetName, .uvs (u and v in turn), .uvIds; the sets come in order
bool AsciiReader::setUVs(const Argument& where, std::string_view attr)
{
    _hasMesh = true;
    std::string_view rest = attr;
    size_t index = 0;
    if (!cutText(rest, "uvSets[") || !cutNumber(rest, index) || !cutText(rest, "].") ||
        index > _mesh.uvSets.size())
        return fail(where.offset, quoted(attr) + " is not the next UV set");
    if (rest == "uvSetName") {
        if (_statement->argCount != 4 || !isFlag(arg(1), "type") || arg(2)->text != "string" ||
            !isText(arg(3)))
            return fail(where.offset, "expected -type \"string\" and a text");
        if (index != _mesh.uvSets.size())
            return fail(where.offset, "the UV set has a name already");
        _mesh.uvSets.emplace_back();
        _mesh.uvSets.back().name = std::string(arg(3)->text);
        return true;
    }
    if (index == _mesh.uvSets.size())
        return fail(where.offset, "a UV set begins with its name");
    UVSet& set = _mesh.uvSets[index];
    if (rest == "uvIds")
        return ints(set.ids, where);
    if (rest != "uvs")
        return unknown(where, "attribute " + quoted("mesh.uvSets." + std::string(rest)));
    NumberReader reader{std::string_view()};
    uint64_t count = 0;
    const Argument* run = nullptr;
    if (!arrayRun("floatArray", reader, count, run))
        return false;
    if (!set.u.empty() || count % 2 != 0)
        return fail(run->offset, count % 2 != 0 ? "UVs come in pairs" : "the array has been set before");
    set.u.resize(count / 2);
    set.v.resize(count / 2);
    for (size_t i = 0; i < count / 2; ++i)
        if (!reader.next(set.u[i]) || !reader.next(set.v[i]))
            return fail(static_cast<size_t>(reader.where() - _script.data()), "not a number that fits here");
    return true;
}

// -- NURBS surfaces and curves --------------------------------------------------------------------

bool AsciiReader::setNurbsArray(const Argument& where, std::string_view attr)
{
    const NodeType& type = *_nodes[_current].type;
    const bool isSurface = type.isA(KFn::kNurbsSurface);
    TrimData& trims = _nurbs.surface.trims;
    _hasNurbs = true;
    if (attr == (isSurface ? "surface" : "curve"))
        return ints(_nurbs.kind, where);
    if (attr == (isSurface ? "knotsU" : "knots"))
        return doubles(_nurbs.surface.knotsU, where);
    if (attr == "cvs")
        return doubles(_nurbs.surface.cvs, where);
    if (isSurface && attr == "knotsV")
        return doubles(_nurbs.surface.knotsV, where);
    if (isSurface && attr == "trimBoundaries")
        return ints(trims.boundaries, where);
    if (isSurface && attr == "trimCurves")
        return ints(trims.curves, where);
    if (isSurface && attr == "trimTolerances")
        return doubles(_nurbs.tolerances, where);
    if (isSurface && attr == "trimKnots")
        return doubles(trims.knots, where);
    if (isSurface && attr == "trimCVs")
        return doubles(trims.cvs, where);
    return unknown(where, "attribute " + quoted(std::string(type.name()) + '.' + std::string(attr)));
}

bool AsciiReader::finishNurbs()
{
    if (!_hasNurbs)
        return true;
    _hasNurbs = false;
    Nurbs nurbs;
    std::swap(nurbs, _nurbs);
    const PodVector<int32_t>& kind = nurbs.kind;
    const auto refuse = [this](const std::string& why) {
        return _error->fail(_shapeOffset, "createNode: " + why);
    };
    const auto isSwitch = [](int32_t value) { return value == 0 || value == 1; };
    if (_nodes[_current].type->isA(KFn::kNurbsCurve)) {
        if (kind.size() != 3 || !isSwitch(kind[2]))
            return refuse("a NURBS curve has a degree, a form and tells whether it is rational");
        CurveData curve{kind[0], static_cast<NurbsForm>(kind[1]), kind[2] != 0,
                        false,   std::move(nurbs.surface.knotsU), std::move(nurbs.surface.cvs)};
        return _sink.curve(curve) || refuse(_sink.error());
    }
    if (kind.size() != 6 || !isSwitch(kind[4]) || !isSwitch(kind[5]))
        return refuse(
            "a NURBS surface has two degrees, two forms and tells whether it is rational and flipped");
    SurfaceData& surface = nurbs.surface;
    surface.degreeU = kind[0];
    surface.degreeV = kind[1];
    surface.formU = static_cast<NurbsForm>(kind[2]);
    surface.formV = static_cast<NurbsForm>(kind[3]);
    surface.rational = kind[4] != 0;
    surface.flipped = kind[5] != 0;
    if (surface.trims.empty() != nurbs.tolerances.empty() ||
        (!nurbs.tolerances.empty() && nurbs.tolerances.size() != 2))
        return refuse("a trimmed NURBS surface has two tolerances");
    if (!nurbs.tolerances.empty()) {
        surface.trims.edgeTolerance = nurbs.tolerances[0];
        surface.trims.paramTolerance = nurbs.tolerances[1];
    }
    return _sink.surface(surface) || refuse(_sink.error());
}

// -- Animation curves -----------------------------------------------------------------------------

// .keys: time and value of each key in turn
bool AsciiReader::setKeys(const Argument& where, std::string_view attr)
{
    NumberReader reader{std::string_view()};
    uint64_t count = 0;
    const Argument* run = nullptr;
    if (!isFlag(arg(1), "type") || !arrayRun("doubleArray", reader, count, run))
        return fail(where.offset, quoted(attr) + " takes -type \"doubleArray\", a count and as many numbers");
    if (count % 2 != 0)
        return fail(run->offset, "keys are pairs of a time and a value");
    KeyData keys;
    keys.times.resize(count / 2);
    keys.values.resize(count / 2);
    for (size_t i = 0; i < count / 2; ++i)
        if (!reader.next(keys.times[i]) || !reader.next(keys.values[i]))
            return fail(static_cast<size_t>(reader.where() - _script.data()), "not a number that fits here");
    return _sink.keys(keys) || sinkFailed();
}

} // namespace

bool looksLikeAscii(std::string_view start)
{
    return cutText(start, kFirstLine);
}

bool readAscii(std::string_view script, SceneSink& sink, ScriptError& error)
{
    return AsciiReader(script, sink).run(error);
}

} // namespace kelda
