#include "command/Interpreter.h"
#include "graph/AnimCurves.h"

#include <algorithm>
#include <cmath>

namespace kelda
{

// -- Helpers --------------------------------------------------------------------------------------

namespace
{

bool isName(const Argument& arg)
{
    return arg.kind == TokenKind::Word || arg.kind == TokenKind::String;
}

/// The node that an argument names, or null after fail().
Node* nodeArg(Interpreter& in, const Argument& arg)
{
    NodeId id = kNoNode;
    if (const Outcome found = in.scene().find(arg.text, id); !found) {
        in.fail(arg, found);
        return nullptr;
    }
    return in.scene().node(id);
}

DagNode* dagArg(Interpreter& in, const Argument& arg)
{
    Node* node = nodeArg(in, arg);
    if (node && !node->isDag) {
        in.fail(arg, "\"" + std::string(arg.text) + "\" is not a DAG node");
        return nullptr;
    }
    return static_cast<DagNode*>(node);
}

/// The number of the instance that a path names; 0 for a plain name.
uint32_t instanceArg(Interpreter& in, const Argument& arg)
{
    uint32_t number = 0;
    std::vector<NodeId> path;
    if (arg.text.find('|') != std::string_view::npos && in.scene().findPath(arg.text, path))
        in.scene().instanceOfPath(path.data(), path.size(), number);
    return number;
}

// -- Nodes ----------------------------------------------------------------------------------------

bool runCreateNode(Interpreter& in)
{
    Scene& scene = in.scene();
    const NodeType* type = findNodeType(in.arg(0).text);
    if (!type)
        return in.fail(in.arg(0), "unknown node type \"" + std::string(in.arg(0).text) + "\"");
    const Argument* name = in.value("name");
    const Argument* parentArg = in.value("parent");
    NodeId parent = kWorld;
    NodeId madeFor = kNoNode;
    if (parentArg) {
        const DagNode* above = dagArg(in, *parentArg);
        if (!above)
            return false;
        if (!type->isA(KFn::kDagNode))
            return in.fail(*parentArg,
                           "a node of the type \"" + std::string(type->name()) + "\" has no parent");
        parent = above->id;
    } else if (type->isA(KFn::kShape) && !type->isAbstract()) {
        parent = madeFor = scene.create(*findNodeType("transform"), std::string())->id;
    }
    Outcome why;
    const Node* made =
        scene.create(*type, name ? name->text : std::string_view(), parent, Scene::kLast, &why);
    if (!made)
        return in.fail(in.arg(0), why);
    in.result().set(KString(scene.shortestName(*made)));
    if (in.undo()) {
        const NodeId id = madeFor == kNoNode ? made->id : madeFor;
        UndoQueue::current().push([id](Scene& s) { s.remove({id}); });
    }
    return true;
}

bool runDelete(Interpreter& in)
{
    Scene& scene = in.scene();
    // No node keeps construction history, so there is none to delete.
    if (in.has("constructionHistory"))
        return true;
    if (in.has("all"))
        return in.fail("\"-all\" goes with \"-constructionHistory\"");
    if (in.args().empty())
        return in.fail("nothing to delete is named");
    std::vector<NodeId> nodes;
    for (const Argument& arg : in.args()) {
        const Node* node = nodeArg(in, arg);
        if (!node)
            return false;
        nodes.push_back(node->id);
    }
    const Outcome removed = scene.remove(nodes);
    if (!removed)
        return in.fail(in.arg(0), removed);
    in.cannotUndo();
    return true;
}

bool runDeleteAllHistory(Interpreter&)
{
    return true; // as with "delete -constructionHistory"
}

bool runRename(Interpreter& in)
{
    Scene& scene = in.scene();
    Node* node = nodeArg(in, in.arg(0));
    if (!node)
        return false;
    const std::string before = scene.name(*node);
    if (const Outcome renamed = scene.rename(*node, in.arg(1).text); !renamed)
        return in.fail(in.arg(0), renamed);
    in.result().set(KString(scene.name(*node)));
    if (in.undo()) {
        const NodeId id = node->id;
        UndoQueue::current().push([id, before](Scene& s) {
            if (Node* n = s.node(id))
                s.rename(*n, before);
        });
    }
    return true;
}

bool runParent(Interpreter& in)
{
    Scene& scene = in.scene();
    const bool toWorld = in.has("world");
    const bool add = in.has("add");
    const bool remove = in.has("remove");
    if (int(toWorld) + int(add) + int(remove) > 1 && !(toWorld && add))
        return in.fail("flags that exclude each other");
    if (!toWorld && in.args().size() < 2)
        return in.fail("too few arguments: the parent stands last");
    DagNode* to = toWorld ? &scene.world() : dagArg(in, in.args().back());
    if (!to)
        return false;
    size_t position = Scene::kLast;
    if (const Argument* at = in.value("position")) {
        double number = 0;
        if (!in.number(*at, number))
            return false;
        if (!(number >= 0 && number <= 4294967295.0) ||
            number != static_cast<double>(static_cast<uint32_t>(number)))
            return in.fail(*at, "a position is a whole number from 0");
        position = static_cast<size_t>(number);
    }
    const size_t count = in.args().size() - (toWorld ? 0 : 1);
    for (size_t i = 0; i < count; ++i) {
        DagNode* child = dagArg(in, in.arg(i));
        if (!child)
            return false;
        const Outcome done = add      ? scene.addParent(*child, *to, position, instanceArg(in, in.arg(i)))
                             : remove ? scene.removeParent(*child, *to)
                                      : scene.moveBelow(*child, *to, position);
        if (!done)
            return in.fail(in.arg(i), done);
        in.cannotUndo();
    }
    return true;
}

// -- Attributes -----------------------------------------------------------------------------------

/// The plug that an argument names: false after fail(). A missing attribute is the commonest mistake, so a
/// name that differs in letter case only is offered.
bool plugArg(Interpreter& in, const Argument& arg, PlugKey& plug)
{
    const Outcome found = in.scene().findPlug(arg.text, plug);
    if (found)
        return true;
    std::string text = found.text;
    const size_t dot = arg.text.rfind('.');
    NodeId id = kNoNode;
    if (dot != std::string_view::npos && in.scene().find(arg.text.substr(0, dot), id)) {
        const auto lower = [](std::string_view s) {
            std::string out(s);
            for (char& c : out)
                c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
            return out;
        };
        for (const Attr& attr : in.scene().node(id)->type->attrs())
            if (lower(attr.name) == lower(arg.text.substr(dot + 1)))
                text += "; did you mean \"" + attr.name + "\"?";
    }
    return in.fail(arg, text);
}

bool runSetAttr(Interpreter& in)
{
    Scene& scene = in.scene();
    PlugKey plug;
    if (!plugArg(in, in.arg(0), plug))
        return false;
    const Attr& attr = scene.node(plug.node)->type->attr(plug.attr);
    const size_t given = in.args().size() - 1;
    if (attr.kind == AttrKind::Text) {
        if (given != 1 || !isName(in.arg(1)))
            return in.fail(in.arg(0), "\"" + attr.name + "\" takes one text");
        std::string before;
        const std::vector<int32_t> elements =
            attr.isTextArray() ? scene.elements(*scene.node(plug.node), plug.attr) : std::vector<int32_t>();
        const bool isNew =
            attr.isTextArray() && !std::binary_search(elements.begin(), elements.end(), plug.element);
        scene.text(plug, before);
        const Outcome set = scene.setText(plug, in.arg(1).text);
        if (set && in.undo())
            UndoQueue::current().push([plug, before, isNew](Scene& s) {
                if (s.node(plug.node) && isNew)
                    s.removeElement(plug);
                else if (s.node(plug.node))
                    s.setText(plug, before);
            });
        return set || in.fail(in.arg(1), set);
    }
    const size_t wanted = attr.childCount > 0 ? static_cast<size_t>(attr.childCount) : 1;
    if (given != wanted)
        return in.fail(in.arg(0), "\"" + attr.name + "\" takes " + std::to_string(wanted) +
                                      (wanted == 1 ? " value" : " values") + ", not " +
                                      std::to_string(given));
    // All values are looked at before the first is set, so that a failure changes nothing.
    std::vector<double> values(wanted), before(wanted);
    const int first = attr.childCount > 0 ? plug.attr + 1 : plug.attr;
    for (size_t i = 0; i < wanted; ++i) {
        bool flag = false;
        if (attr.kind == AttrKind::Bool) {
            if (!in.boolean(in.arg(i + 1), flag))
                return false;
            values[i] = flag ? 1 : 0;
        } else if (!in.number(in.arg(i + 1), values[i])) {
            return false;
        }
        scene.number({plug.node, first + static_cast<int>(i), plug.element}, before[i]);
    }
    const auto apply = [plug, first](Scene& s, const std::vector<double>& numbers) {
        Outcome done;
        for (size_t i = 0; i < numbers.size() && done; ++i)
            done = s.setNumber({plug.node, first + static_cast<int>(i), plug.element}, numbers[i]);
        return done;
    };
    if (const Outcome set = apply(scene, values); !set) {
        apply(scene, before);
        return in.fail(in.arg(0), set);
    }
    if (in.undo())
        UndoQueue::current().push([plug, apply, before](Scene& s) {
            if (s.node(plug.node))
                apply(s, before);
        });
    return true;
}

bool runGetAttr(Interpreter& in)
{
    Scene& scene = in.scene();
    PlugKey plug;
    if (!plugArg(in, in.arg(0), plug))
        return false;
    const Attr& attr = scene.node(plug.node)->type->attr(plug.attr);
    double value = 0;
    std::string text;
    if (scene.number(plug, value)) {
        if (attr.kind == AttrKind::Bool || attr.kind == AttrKind::Int || attr.kind == AttrKind::Enum)
            in.result().set(static_cast<int>(value));
        else
            in.result().set(value);
    } else if (scene.answer(plug, text)) {
        in.result().set(KString(text));
    } else {
        return in.fail(in.arg(0), "\"" + attr.name + "\" does not hold one value");
    }
    return true;
}

bool runConnectAttr(Interpreter& in)
{
    PlugKey from, to;
    if (!plugArg(in, in.arg(0), from) || !plugArg(in, in.arg(1), to))
        return false;
    PlugKey before;
    const bool wasTaken = in.scene().sourceOf(to, before);
    const Outcome connected = in.scene().connect(from, to, in.has("force"));
    if (!connected)
        return in.fail(in.arg(1), connected);
    if (in.undo())
        UndoQueue::current().push([from, to, before, wasTaken](Scene& s) {
            if (s.node(from.node) && s.node(to.node))
                s.disconnect(from, to);
            if (wasTaken && s.node(before.node) && s.node(to.node))
                s.connect(before, to, true);
        });
    return true;
}

bool runDisconnectAttr(Interpreter& in)
{
    PlugKey from, to;
    if (!plugArg(in, in.arg(0), from) || !plugArg(in, in.arg(1), to))
        return false;
    const Outcome cut = in.scene().disconnect(from, to);
    if (!cut)
        return in.fail(in.arg(0), cut);
    if (in.undo())
        UndoQueue::current().push([from, to](Scene& s) {
            if (s.node(from.node) && s.node(to.node))
                s.connect(from, to, true);
        });
    return true;
}

// -- Sets -----------------------------------------------------------------------------------------

/// A member: a node (all its instances), a path (that instance), or faces of either ("|a|b.f[0:3]").
struct MemberArg {
    DagNode* node = nullptr;
    uint32_t first = 0; ///< instances first .. last
    uint32_t last = 0;
    std::shared_ptr<FaceSet> faces;
};

bool memberArg(Interpreter& in, const Argument& arg, MemberArg& member)
{
    Scene& scene = in.scene();
    std::string_view text = arg.text;
    const size_t dot = text.find('.');
    if (dot != std::string_view::npos) {
        std::string_view range = text.substr(dot + 1);
        FaceRange faces{0, 0};
        const auto bad = [&] { return in.fail(arg, "faces are named as in \"shape.f[0:3]\""); };
        if (range.size() < 4 || range.substr(0, 2) != "f[" || range.back() != ']')
            return bad();
        range = range.substr(2, range.size() - 3);
        const char* end = range.data() + range.size();
        std::from_chars_result r = std::from_chars(range.data(), end, faces.first);
        faces.last = faces.first;
        if (r.ec == std::errc() && r.ptr != end && *r.ptr == ':')
            r = std::from_chars(r.ptr + 1, end, faces.last);
        if (r.ec != std::errc() || r.ptr != end)
            return bad();
        member.faces = std::make_shared<FaceSet>();
        member.faces->ranges.push_back(faces);
        text = text.substr(0, dot);
    }
    std::vector<NodeId> path;
    NodeId id = kNoNode;
    if (const Outcome found = scene.find(text, id); !found)
        return in.fail(arg, found);
    member.node = scene.dag(id);
    if (!member.node)
        return in.fail(arg, "\"" + std::string(text) + "\" is not a DAG node and cannot be in a set");
    member.last = scene.pathCount(*member.node) - 1;
    if (text.find('|') != std::string_view::npos && scene.findPath(text, path)) {
        scene.instanceOfPath(path.data(), path.size(), member.first);
        member.last = member.first;
    }
    return true;
}

bool addMembers(Interpreter& in, SetNode& set, bool force)
{
    Scene& scene = in.scene();
    std::vector<MemberArg> members(in.args().size());
    for (size_t i = 0; i < members.size(); ++i)
        if (!memberArg(in, in.arg(i), members[i]))
            return false;
    for (size_t i = 0; i < members.size(); ++i) {
        const MemberArg& m = members[i];
        for (uint32_t instance = m.first; instance <= m.last; ++instance) {
            if (const Outcome added = scene.addMember(set, *m.node, instance, m.faces); !added)
                return in.fail(in.arg(i), added);
            if (force)
                scene.leaveRenderableSets(*m.node, instance, m.faces.get(), set.id);
        }
    }
    return true;
}

bool runSets(Interpreter& in)
{
    Scene& scene = in.scene();
    const Argument* target = in.value("forceElement");
    const bool force = target != nullptr;
    const bool remove = in.has("remove");
    if (!target)
        target = in.value("addElement");
    if (!target)
        target = in.value("remove");
    if (in.has("edit") && !target)
        return in.fail("\"-edit\" needs \"-forceElement\", \"-addElement\" or \"-remove\"");
    if (target) {
        Node* node = nodeArg(in, *target);
        if (!node)
            return false;
        if (!node->isA(KFn::kSet))
            return in.fail(*target, "\"" + std::string(target->text) + "\" is not a set");
        in.cannotUndo();
        SetNode& set = static_cast<SetNode&>(*node);
        if (!remove)
            return addMembers(in, set, force);
        for (const Argument& arg : in.args()) {
            MemberArg member;
            if (!memberArg(in, arg, member))
                return false;
            for (uint32_t instance = member.first; instance <= member.last; ++instance)
                if (const Outcome removed = scene.removeMember(set, *member.node, instance); !removed)
                    return in.fail(arg, removed);
        }
        return true;
    }
    bool renderable = false;
    if (const Argument* flag = in.value("renderable"); flag && !in.boolean(*flag, renderable))
        return false;
    bool noShader = false;
    if (const Argument* flag = in.value("noSurfaceShader"); flag && !in.boolean(*flag, noShader))
        return false;
    if (in.has("empty") && !in.args().empty())
        return in.fail(in.arg(0), "an empty set has no members");
    const Argument* name = in.value("name");
    Node* made = scene.create(*findNodeType(renderable ? "shadingEngine" : "objectSet"),
                              name ? name->text : std::string_view());
    if (!addMembers(in, static_cast<SetNode&>(*made), renderable)) {
        scene.remove({made->id});
        return false;
    }
    // A renderable set that asks for a shader starts with the default one.
    if (renderable && !noShader) {
        PlugKey from, to;
        scene.findPlug("lambert1.outColor", from);
        scene.findPlug(*made, "surfaceShader", to);
        scene.connect(from, to, true);
    }
    in.result().set(KString(scene.name(*made)));
    if (in.undo()) {
        const NodeId id = made->id;
        UndoQueue::current().push([id](Scene& s) { s.remove({id}); });
    }
    return true;
}

// -- Animation ------------------------------------------------------------------------------------

bool runSetKeyframe(Interpreter& in)
{
    Scene& scene = in.scene();
    const Argument* timeArg = in.value("time");
    const Argument* valueArg = in.value("value");
    if (!timeArg || !valueArg)
        return in.fail("\"-time\" and \"-value\" are needed");
    double time = 0, value = 0;
    if (!in.number(*timeArg, time) || !in.number(*valueArg, value))
        return false;
    const double ticks = KTime(time, scene.timeUnit()).ticks();
    if (!std::isfinite(ticks) || !std::isfinite(value))
        return in.fail(std::isfinite(ticks) ? *valueArg : *timeArg, "the number must be finite");
    PlugKey plug, source;
    if (!plugArg(in, in.arg(0), plug))
        return false;
    if (!scene.sourceOf(plug, source)) {
        if (const Outcome made = makeAnimCurve(scene, plug, source.node); !made)
            return in.fail(in.arg(0), made);
    } else if (!scene.node(source.node)->isA(KFn::kAnimCurve)) {
        return in.fail(in.arg(0), "\"" + scene.plugText(plug) + "\" is driven by \"" +
                                      scene.plugText(source) + "\", which is no animation curve");
    }
    in.cannotUndo();
    Node& curve = *scene.node(source.node);
    addKey(static_cast<AnimCurveNode&>(curve).keys, ticks, value);
    in.result().set(KString(scene.name(curve)));
    return true;
}

// -- The scene as a whole -------------------------------------------------------------------------

bool setTimeUnit(Interpreter& in, const Argument& name)
{
    Scene& scene = in.scene();
    KTime::Unit unit = KTime::kFilm;
    if (!parseTimeUnit(name.text, unit))
        return in.fail(name, "\"" + std::string(name.text) + "\" is not a time unit");
    if (in.undo()) {
        const KTime::Unit before = scene.timeUnit();
        UndoQueue::current().push([before](Scene& s) { s.setTimeUnit(before); });
    }
    scene.setTimeUnit(unit);
    in.result().set(KString(fullName(unit)));
    return true;
}

bool runCurrentUnit(Interpreter& in)
{
    Scene& scene = in.scene();
    const Argument* linear = in.value("linear");
    const Argument* time = in.value("time");
    if (time && (linear || in.has("query")))
        return in.fail(*time, "\"-time\" stands alone");
    if (time)
        return setTimeUnit(in, *time);
    if (in.has("query")) {
        in.result().set(
            KString(in.has("fullName") ? fullName(scene.linearUnit()) : shortName(scene.linearUnit())));
        return true;
    }
    if (!linear)
        return in.fail("nothing to set or query");
    LinearUnit unit = LinearUnit::Centimeter;
    if (!parseLinearUnit(linear->text, unit))
        return in.fail(*linear, "\"" + std::string(linear->text) + "\" is not a linear unit");
    if (in.undo()) {
        const LinearUnit before = scene.linearUnit();
        UndoQueue::current().push([before](Scene& s) { s.setLinearUnit(before); });
    }
    scene.setLinearUnit(unit);
    in.result().set(KString(fullName(unit)));
    return true;
}

bool runFlushUndo(Interpreter&)
{
    UndoQueue::current().clear();
    return true;
}

bool runUndo(Interpreter& in)
{
    return UndoQueue::current().undo(in.scene()) || in.fail("there is nothing to undo");
}

bool runObjExists(Interpreter& in)
{
    NodeId id = kNoNode;
    PlugKey plug;
    const bool exists = in.arg(0).text.find('.') == std::string_view::npos
                            ? static_cast<bool>(in.scene().find(in.arg(0).text, id))
                            : static_cast<bool>(in.scene().findPlug(in.arg(0).text, plug));
    in.result().set(exists ? 1 : 0);
    return true;
}

bool runHelp(Interpreter& in)
{
    std::string text;
    for (const CommandRow& row : commandTable()) {
        if (!in.args().empty() && in.arg(0).text != row.name)
            continue;
        text += std::string(row.name) + " " + row.usage + "\n    " + row.help + "\n";
        for (int f = 0; f < row.flagCount && !in.args().empty(); ++f) {
            const FlagRow& flag = row.flags[f];
            text += std::string("    -") + flag.name +
                    (flag.brief ? std::string(" (-") + flag.brief + ")" : "") + ": " + flag.help + "\n";
        }
    }
    if (text.empty())
        return in.fail(in.arg(0), "unknown command \"" + std::string(in.arg(0).text) + "\"");
    in.result().set(KString(text));
    return true;
}

} // namespace

// -- Tables ---------------------------------------------------------------------------------------

namespace
{

const FlagRow createNodeFlags[] = {
    {"name", "n", 1, "name of the node; \"#\" at its end becomes a number"},
    {"parent", "p", 1, "DAG node that it stands below; a shape without one gets a transform"},
};
const FlagRow deleteFlags[] = {
    {"all", "all", 0, "of all nodes"},
    {"constructionHistory", "ch", 0, "the construction history instead of nodes"},
};
const FlagRow parentFlags[] = {
    {"add", "add", 0, "keep the parents that there are: makes an instance"},
    {"remove", "rm", 0, "take the instance below that parent away"},
    {"world", "w", 0, "the parent is the world"},
    {"position", "pos", 1, "place among the children, from 0; otherwise last"},
};
const FlagRow connectFlags[] = {
    {"force", "f", 0, "cut a connection that the target has"},
};
const FlagRow setsFlags[] = {
    {"renderable", "r", 1, "true: the new set is a shading group"},
    {"noSurfaceShader", "nss", 1, "true: the new shading group has no shader"},
    {"empty", "em", 0, "the new set has no members"},
    {"name", "n", 1, "name of the new set; \"#\" at its end becomes a number"},
    {"edit", "e", 0, "change a set that there is"},
    {"forceElement", "fe", 1, "set that the members join; they leave all other shading groups"},
    {"addElement", "add", 1, "set that the members join"},
    {"remove", "rm", 1, "set that the members leave"},
};
const FlagRow setKeyframeFlags[] = {
    {"time", "t", 1, "time of the key, in the scene's time unit"},
    {"value", "v", 1, "value of the key"},
};
const FlagRow currentUnitFlags[] = {
    {"query", "q", 0, "answer the unit"},
    {"fullName", "f", 0, "answer its full name"},
    {"linear", "l", 1, "the linear unit, by full or short name"},
    {"time", "t", 1, "the time unit"},
};

template <size_t n>
constexpr int countOf(const FlagRow (&)[n])
{
    return static_cast<int>(n);
}
#define KELDA_FLAGS(table) table, countOf(table)

// clang-format off
const std::vector<CommandRow> commandRows = {
    // name               usage                                         args    in scene files
    {"connectAttr",       "[-force] <source plug> <target plug>",       2,  2,  true,  "connects two attributes", KELDA_FLAGS(connectFlags), runConnectAttr},
    {"createNode",        "<type> [-name <name>] [-parent <node>]",     1,  1,  true,  "makes a node; answers its name", KELDA_FLAGS(createNodeFlags), runCreateNode},
    {"currentUnit",       "-query [-fullName] | -linear <unit> | -time <unit>", 0,  0,  true,  "sets or answers the working unit: a label, values stay centimetres; or sets that of time", KELDA_FLAGS(currentUnitFlags), runCurrentUnit},
    {"delete",            "[-all] -constructionHistory | <node>...",    0, -1,  false, "deletes nodes and what only stands below them", KELDA_FLAGS(deleteFlags), runDelete},
    {"DeleteAllHistory",  "",                                           0,  0,  false, "deletes all construction history", nullptr, 0, runDeleteAllHistory},
    {"disconnectAttr",    "<source plug> <target plug>",                2,  2,  false, "cuts a connection", nullptr, 0, runDisconnectAttr},
    {"flushUndo",         "",                                           0,  0,  false, "empties the undo queue", nullptr, 0, runFlushUndo},
    {"getAttr",           "<plug>",                                     1,  1,  false, "answers the value of an attribute; angles in radians", nullptr, 0, runGetAttr},
    {"help",              "[<command>]",                                0,  1,  false, "lists the commands, or one with its flags", nullptr, 0, runHelp},
    {"objExists",         "<node or plug>",                             1,  1,  false, "answers 1 or 0", nullptr, 0, runObjExists},
    {"parent",            "[-add|-remove|-world] [-position <n>] <node>... <parent>", 1, -1, true, "moves nodes, or makes instances", KELDA_FLAGS(parentFlags), runParent},
    {"rename",            "<node> <name>",                              2,  2,  true,  "names a node; answers the name it got", nullptr, 0, runRename},
    {"setAttr",           "<plug> <value>...",                          2, -1,  true,  "sets an attribute; angles in radians", nullptr, 0, runSetAttr},
    {"setKeyframe",       "-time <time> -value <value> <plug>",         1,  1,  false, "adds a key to the curve that drives an attribute; answers its name", KELDA_FLAGS(setKeyframeFlags), runSetKeyframe},
    {"sets",              "[-renderable true] [-noSurfaceShader true] [-empty] [-name <name>] [<member>...] | -edit -forceElement <set> <member>...",
                                                                        0, -1,  true,  "makes or changes a set; answers its name", KELDA_FLAGS(setsFlags), runSets},
    {"undo",              "",                                           0,  0,  false, "takes the last step back", nullptr, 0, runUndo},
};
// clang-format on
#undef KELDA_FLAGS

} // namespace

const std::vector<CommandRow>& commandTable()
{
    return commandRows;
}

const CommandRow* findCommand(std::string_view name)
{
    for (const CommandRow& row : commandRows)
        if (name == row.name)
            return &row;
    return nullptr;
}

} // namespace kelda
