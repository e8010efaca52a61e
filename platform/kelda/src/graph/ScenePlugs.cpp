#include "graph/FileNames.h"
#include "graph/Scene.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace kelda
{

// -- Plugs ----------------------------------------------------------------------------------------

Outcome Scene::findPlug(const Node& node, std::string_view attrText, PlugKey& out) const
{
    const auto missing = [&] {
        return Outcome(KStatus::kNotFound, "node \"" + shortestName(node) + "\" has no attribute \"" +
                                               std::string(attrText) + "\"");
    };
    out = PlugKey{node.id, -1, -1};
    std::string_view rest = attrText;
    int container = -1;
    for (;;) {
        const size_t end = std::min(rest.find_first_of(".["), rest.size());
        const int index = node.type->findAttr(rest.substr(0, end));
        if (index < 0)
            return missing();
        const Attr& attr = node.type->attr(index);
        // "compound[2].child" and "color.colorR" are both fine, as long as the one is the other's child.
        if (container >= 0 && attr.parent != container)
            return missing();
        out.attr = index;
        rest.remove_prefix(end);
        if (!rest.empty() && rest[0] == '[') {
            int32_t element = -1;
            const std::from_chars_result r =
                std::from_chars(rest.data() + 1, rest.data() + rest.size(), element);
            if (r.ec != std::errc() || element < 0 || r.ptr == rest.data() + rest.size() || *r.ptr != ']' ||
                !attr.isArray())
                return missing();
            out.element = element;
            rest.remove_prefix(static_cast<size_t>(r.ptr + 1 - rest.data()));
        }
        if (rest.empty())
            return Outcome();
        if (rest[0] != '.')
            return missing();
        rest.remove_prefix(1);
        container = index;
    }
}

Outcome Scene::findPlug(std::string_view text, PlugKey& out) const
{
    const size_t dot = text.find('.');
    if (dot == std::string_view::npos)
        return Outcome(KStatus::kInvalidParameter,
                       "\"" + std::string(text) + "\" does not name an attribute (node.attribute)");
    NodeId id = kNoNode;
    const Outcome found = find(text.substr(0, dot), id);
    if (!found)
        return found;
    return findPlug(*node(id), text.substr(dot + 1), out);
}

std::string Scene::attrText(const PlugKey& plug) const
{
    const Attr& attr = node(plug.node)->type->attr(plug.attr);
    const std::string element = plug.element >= 0 ? "[" + std::to_string(plug.element) + "]" : std::string();
    if (attr.isArray() && attr.ownRow)
        return attr.name + element;
    if (plug.element >= 0 && attr.parent >= 0)
        return node(plug.node)->type->attr(attr.parent).name + element + "." + attr.name;
    return attr.name;
}

std::string Scene::plugText(const PlugKey& plug) const
{
    return shortestName(*node(plug.node)) + "." + attrText(plug);
}

// -- Connections ----------------------------------------------------------------------------------

namespace
{

/// What a plug carries, for the question whether two can be connected.
enum class Carries { Number, Several, Text, Matrix, Nothing };

Carries carries(const Attr& attr)
{
    switch (attr.kind) {
    case AttrKind::Text:
        return Carries::Text;
    case AttrKind::Matrix:
        return Carries::Matrix;
    case AttrKind::Message:
    case AttrKind::Compound:
        return Carries::Nothing;
    default:
        return attr.childCount > 0 ? Carries::Several : Carries::Number;
    }
}

} // namespace

Outcome Scene::connect(const PlugKey& source, const PlugKey& destination, bool force)
{
    Node* from = node(source.node);
    Node* to = node(destination.node);
    const Attr& fromAttr = from->type->attr(source.attr);
    const Attr& toAttr = to->type->attr(destination.attr);
    if (toAttr.readOnly())
        return Outcome(KStatus::kFailure,
                       "\"" + plugText(destination) + "\" cannot be the target of a connection");
    if ((fromAttr.isArray() && source.element < 0) || (toAttr.isArray() && destination.element < 0))
        return Outcome(KStatus::kFailure,
                       "\"" + plugText(fromAttr.isArray() && source.element < 0 ? source : destination) +
                           "\" is an array: an element of it can be connected");
    if (source == destination)
        return Outcome(KStatus::kFailure, "\"" + plugText(source) + "\" cannot be connected with itself");
    if (carries(fromAttr) != carries(toAttr) || fromAttr.childCount != toAttr.childCount)
        return Outcome(KStatus::kFailure, "\"" + plugText(source) + "\" and \"" + plugText(destination) +
                                              "\" do not carry the same kind of value");
    if (to->links) {
        for (const Link& l : to->links->in) {
            if (l.own != destination)
                continue;
            if (l.other == source)
                return force ? Outcome()
                             : Outcome(KStatus::kFailure, "\"" + plugText(source) +
                                                              "\" is already connected to \"" +
                                                              plugText(destination) + "\"");
            if (!force)
                return Outcome(KStatus::kFailure, "\"" + plugText(destination) +
                                                      "\" has a connection already, from \"" +
                                                      plugText(l.other) + "\"");
            const PlugKey old = l.other;
            disconnect(old, destination);
            break;
        }
    }
    if (!from->links)
        from->links.reset(new Links);
    if (!to->links)
        to->links.reset(new Links);
    from->links->out.push_back({source, destination});
    to->links->in.push_back({destination, source});
    return Outcome();
}

Outcome Scene::disconnect(const PlugKey& source, const PlugKey& destination)
{
    Node* from = node(source.node);
    Node* to = node(destination.node);
    const auto erase = [](std::vector<Link>& links, const PlugKey& own, const PlugKey& other) {
        // What is cut was mostly connected last.
        const auto at = std::find_if(links.rbegin(), links.rend(),
                                     [&](const Link& l) { return l.own == own && l.other == other; });
        if (at == links.rend())
            return false;
        links.erase(at.base() - 1);
        return true;
    };
    if (!from->links || !to->links || !erase(to->links->in, destination, source))
        return Outcome(KStatus::kNotFound,
                       "\"" + plugText(source) + "\" is not connected to \"" + plugText(destination) + "\"");
    erase(from->links->out, source, destination);
    return Outcome();
}

bool Scene::sourceOf(const PlugKey& destination, PlugKey& source) const
{
    const Node& to = *node(destination.node);
    if (to.links)
        for (const Link& l : to.links->in)
            if (l.own == destination) {
                source = l.other;
                return true;
            }
    return false;
}

// -- Values ---------------------------------------------------------------------------------------

bool Scene::number(const PlugKey& plug, double& out) const
{
    const Node& n = *node(plug.node);
    const Attr& attr = n.type->attr(plug.attr);
    if (!attr.isNumeric() || attr.childCount > 0 || (attr.isArray() && plug.element < 0))
        return false;
    if (attr.access && attr.access->get)
        out = attr.access->get(n, plug.element, attr.component);
    else if (attr.slot >= 0 && n.values)
        out = n.values->numbers[static_cast<size_t>(attr.slot)];
    else
        out = attr.value;
    return true;
}

bool Scene::text(const PlugKey& plug, std::string& out) const
{
    const Node& n = *node(plug.node);
    const Attr& attr = n.type->attr(plug.attr);
    if (attr.kind != AttrKind::Text)
        return false;
    if (attr.access && attr.access->getText) {
        if (attr.access->count && (plug.element < 0 || plug.element >= attr.access->count(n)))
            return false;
        out = attr.access->getText(n, plug.element);
    } else if (attr.isTextArray()) {
        if (plug.element < 0)
            return false;
        out.clear();
        if (n.values) {
            const auto& elements = n.values->arrays[static_cast<size_t>(attr.slot)];
            const auto found = elements.find(plug.element);
            if (found != elements.end())
                out = found->second;
        }
    } else if (attr.slot >= 0 && n.values) {
        out = n.values->texts[static_cast<size_t>(attr.slot)];
    } else {
        out.clear();
    }
    return true;
}

bool Scene::answer(const PlugKey& plug, std::string& out) const
{
    if (!text(plug, out))
        return false;
    if ((node(plug.node)->type->attr(plug.attr).flags & kAttrFileName) != 0)
        out = fileBeside(_fileName, out);
    return true;
}

std::vector<int32_t> Scene::elements(const Node& node, int index) const
{
    std::vector<int32_t> out;
    const Attr& attr = node.type->attr(index);
    if (attr.access && attr.access->count) {
        for (int32_t i = 0; i < attr.access->count(node); ++i)
            out.push_back(i);
        return out;
    }
    if (attr.isTextArray() && node.values)
        for (const auto& element : node.values->arrays[static_cast<size_t>(attr.slot)])
            out.push_back(element.first);
    if (node.links) {
        for (const std::vector<Link>* links : {&node.links->in, &node.links->out})
            for (const Link& l : *links)
                if (l.own.attr == index)
                    out.push_back(l.own.element);
    }
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

namespace
{

GenericValues& valuesOf(Node& node)
{
    if (!node.values) {
        node.values.reset(new GenericValues);
        node.values->numbers.resize(static_cast<size_t>(node.type->numberSlots()));
        node.values->texts.resize(static_cast<size_t>(node.type->textSlots()));
        node.values->arrays.resize(static_cast<size_t>(node.type->arraySlots()));
        for (const Attr& attr : node.type->attrs())
            if (attr.slot >= 0 && attr.isNumeric() && attr.childCount == 0)
                node.values->numbers[static_cast<size_t>(attr.slot)] = attr.value;
    }
    return *node.values;
}

} // namespace

Outcome Scene::setNumber(const PlugKey& plug, double value)
{
    Node& n = *node(plug.node);
    const Attr& attr = n.type->attr(plug.attr);
    if (attr.readOnly())
        return Outcome(KStatus::kFailure, "\"" + plugText(plug) + "\" cannot be set");
    if (!attr.isNumeric() || attr.childCount > 0 || (attr.isArray() && plug.element < 0))
        return Outcome(KStatus::kInvalidParameter, "\"" + plugText(plug) + "\" does not hold one number");
    if (!std::isfinite(value))
        return Outcome(KStatus::kInvalidParameter, "\"" + plugText(plug) + "\" must be finite");
    switch (attr.kind) {
    case AttrKind::Bool:
        value = value != 0 ? 1 : 0;
        break;
    case AttrKind::Int:
    case AttrKind::Enum:
        if (std::fabs(value) > 2147483647.0)
            return Outcome(KStatus::kInvalidParameter, "\"" + plugText(plug) + "\" is out of range");
        value = std::trunc(value);
        break;
    case AttrKind::Float:
        if (std::fabs(value) > 3.4028235677973362e38) // would become infinite
            return Outcome(KStatus::kInvalidParameter, "\"" + plugText(plug) + "\" is out of range");
        value = static_cast<float>(value);
        break;
    default:
        break;
    }
    if (attr.access && attr.access->set)
        attr.access->set(n, plug.element, attr.component, value);
    else
        valuesOf(n).numbers[static_cast<size_t>(attr.slot)] = value;
    return Outcome();
}

Outcome Scene::setText(const PlugKey& plug, std::string_view value)
{
    Node& n = *node(plug.node);
    const Attr& attr = n.type->attr(plug.attr);
    if (attr.kind != AttrKind::Text)
        return Outcome(KStatus::kInvalidParameter, "\"" + plugText(plug) + "\" does not hold text");
    if (attr.readOnly())
        return Outcome(KStatus::kFailure, "\"" + plugText(plug) + "\" cannot be set");
    if (attr.access && attr.access->setText) {
        if (!attr.access->setText(n, plug.element, value))
            return Outcome(KStatus::kInvalidParameter,
                           "\"" + plugText(plug) + "\" cannot be set to \"" + std::string(value) + "\"");
    } else if (attr.isTextArray()) {
        if (plug.element < 0)
            return Outcome(KStatus::kInvalidParameter,
                           "\"" + plugText(plug) + "\" is an array: an element of it can be set");
        valuesOf(n).arrays[static_cast<size_t>(attr.slot)][plug.element] = std::string(value);
    } else {
        valuesOf(n).texts[static_cast<size_t>(attr.slot)] = std::string(value);
    }
    return Outcome();
}

void Scene::removeElement(const PlugKey& plug)
{
    Node& n = *node(plug.node);
    const Attr& attr = n.type->attr(plug.attr);
    if (attr.isTextArray() && n.values)
        n.values->arrays[static_cast<size_t>(attr.slot)].erase(plug.element);
}

bool Scene::isDefaultValue(const Node& node, int index) const
{
    const Attr& attr = node.type->attr(index);
    if (attr.isTextArray())
        return !node.values || node.values->arrays[static_cast<size_t>(attr.slot)].empty();
    if (attr.kind == AttrKind::Text) {
        std::string value;
        return !text({node.id, index, -1}, value) || value.empty();
    }
    // A component stands right behind its attribute.
    const int first = attr.childCount > 0 ? index + 1 : index;
    const int count = attr.childCount > 0 ? attr.childCount : 1;
    for (int i = first; i < first + count; ++i) {
        double value = 0;
        const double wanted = node.type->attr(i).kind == AttrKind::Float
                                  ? static_cast<double>(static_cast<float>(node.type->attr(i).value))
                                  : node.type->attr(i).value;
        // -0 is not the default 0: both forms of the scene must bring it back.
        if (number({node.id, i, -1}, value) && ((value != wanted && value != node.type->attr(i).value) ||
                                                std::signbit(value) != std::signbit(wanted)))
            return false;
    }
    return true;
}

} // namespace kelda
