#include "kelda/KPlug.h"

#include "api/Api.h"
#include "api/SceneCopy.h"
#include "kelda/KPlugArray.h"

#include <charconv>
#include <cmath>

using namespace kelda;

// -- Identity -------------------------------------------------------------------------------------

namespace
{

/// A double in the shortest form that reads back exactly.
std::string numberText(double value)
{
    char buffer[32];
    const std::to_chars_result r = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, r.ptr);
}

const Attr& attrOf(const Node& node, int index)
{
    return node.type->attr(index);
}

} // namespace

bool KPlug::isNull() const
{
    return _attr < 0 || !nodeOf(_node);
}

KString KPlug::name() const
{
    return isNull() ? KString() : KString(Scene::current().plugText({_node.nodeId(), _attr, _element}));
}

KString KPlug::partialName() const
{
    return isNull() ? KString() : KString(Scene::current().attrText({_node.nodeId(), _attr, _element}));
}

KObject KPlug::node(KStatus* status) const
{
    give(status, KStatus(isNull() ? KStatus::kInvalidParameter : KStatus::kSuccess));
    return isNull() ? KObject() : _node;
}

bool KPlug::operator==(const KPlug& other) const
{
    if (isNull() || other.isNull())
        return isNull() && other.isNull();
    return _node == other._node && _attr == other._attr && _element == other._element;
}

// -- Values ---------------------------------------------------------------------------------------

namespace
{

KStatus readNumber(const KObject& object, int attr, int element, double& value)
{
    const KStatus entered = enter("KPlug::getValue");
    if (entered.error())
        return entered;
    if (attr < 0 || !nodeOf(object))
        return KStatus::kInvalidParameter;
    return Scene::current().number({object.nodeId(), attr, element}, value) ? KStatus::kSuccess
                                                                            : KStatus::kInvalidParameter;
}

KStatus writeNumber(const KObject& object, int attr, int element, double value)
{
    const KStatus entered = enter("KPlug::setValue");
    if (entered.error())
        return entered;
    if (attr < 0 || !nodeOf(object))
        return KStatus::kInvalidParameter;
    return Scene::current().setNumber({object.nodeId(), attr, element}, value).code;
}

} // namespace

KStatus KPlug::getValue(double& value) const
{
    return readNumber(_node, _attr, _element, value);
}

KStatus KPlug::getValue(float& value) const
{
    double number = 0;
    const KStatus status = readNumber(_node, _attr, _element, number);
    if (!status.error())
        value = static_cast<float>(number);
    return status;
}

KStatus KPlug::getValue(bool& value) const
{
    double number = 0;
    const KStatus status = readNumber(_node, _attr, _element, number);
    if (!status.error())
        value = number != 0;
    return status;
}

KStatus KPlug::getValue(int& value) const
{
    double number = 0;
    const KStatus status = readNumber(_node, _attr, _element, number);
    if (status.error())
        return status;
    if (!(std::fabs(number) < 2147483648.0))
        return KStatus::kFailure;
    value = static_cast<int>(number);
    return status;
}

KStatus KPlug::getValue(short& value) const
{
    int number = 0;
    const KStatus status = getValue(number);
    if (status.error())
        return status;
    if (number < -32768 || number > 32767)
        return KStatus::kFailure;
    value = static_cast<short>(number);
    return status;
}

KStatus KPlug::getValue(KString& value) const
{
    const KStatus entered = enter("KPlug::getValue");
    if (entered.error())
        return entered;
    if (isNull())
        return KStatus::kInvalidParameter;
    std::string text;
    double number = 0;
    const PlugKey plug{_node.nodeId(), _attr, _element};
    if (Scene::current().number(plug, number))
        text = numberText(number);
    else if (!Scene::current().answer(plug, text))
        return KStatus::kInvalidParameter;
    value = KString(std::move(text));
    return KStatus::kSuccess;
}

KStatus KPlug::getValue(KMatrix& value) const
{
    const KStatus entered = enter("KPlug::getValue");
    if (entered.error())
        return entered;
    if (isNull() || attrOf(*nodeOf(_node), _attr).kind != AttrKind::Matrix)
        return KStatus::kInvalidParameter;
    // An input has the matrix that it is connected to.
    Scene& scene = Scene::current();
    PlugKey plug{_node.nodeId(), _attr, _element};
    if (!attrOf(*nodeOf(_node), _attr).readOnly() && !scene.sourceOf(plug, plug)) {
        value = KMatrix();
        return KStatus::kSuccess;
    }
    const DagNode* node = scene.dag(plug.node);
    const std::string& name = scene.node(plug.node)->type->attr(plug.attr).name;
    std::vector<NodeId> ids;
    if (!node || (name != "matrix" && !scene.pathOfInstance(*node, static_cast<uint32_t>(plug.element), ids)))
        return KStatus::kInvalidParameter;
    if (name == "matrix")
        ids.push_back(node->id);
    value = worldMatrix(scene, ids.data(), ids.size());
    if (name == "worldInverseMatrix")
        value = value.inverse();
    return KStatus::kSuccess;
}

bool KPlug::asBool(KStatus* status) const
{
    bool value = false;
    give(status, getValue(value));
    return value;
}

int KPlug::asInt(KStatus* status) const
{
    int value = 0;
    give(status, getValue(value));
    return value;
}

float KPlug::asFloat(KStatus* status) const
{
    float value = 0;
    give(status, getValue(value));
    return value;
}

double KPlug::asDouble(KStatus* status) const
{
    double value = 0;
    give(status, getValue(value));
    return value;
}

KString KPlug::asString(KStatus* status) const
{
    KString value;
    give(status, getValue(value));
    return value;
}

KStatus KPlug::setValue(bool value)
{
    return writeNumber(_node, _attr, _element, value ? 1 : 0);
}

KStatus KPlug::setValue(int value)
{
    return writeNumber(_node, _attr, _element, value);
}

KStatus KPlug::setValue(float value)
{
    return writeNumber(_node, _attr, _element, value);
}

KStatus KPlug::setValue(double value)
{
    return writeNumber(_node, _attr, _element, value);
}

KStatus KPlug::setValue(const KString& value)
{
    const KStatus entered = enter("KPlug::setValue");
    if (entered.error())
        return entered;
    if (isNull())
        return KStatus::kInvalidParameter;
    return Scene::current().setText({_node.nodeId(), _attr, _element}, value.str()).code;
}

// -- Connections ----------------------------------------------------------------------------------

bool KPlug::isConnected() const
{
    KPlugArray ignored;
    return connectedTo(ignored, true, true);
}

bool KPlug::connectedTo(KPlugArray& plugs, bool asDestination, bool asSource, KStatus* status) const
{
    const KPlug self(*this); // it may be an element of the array
    plugs.clear();
    if (give(status, enter("KPlug::connectedTo")).error())
        return false;
    const Node* node = nodeOf(self._node);
    if (self._attr < 0 || !node) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return false;
    }
    if (!node->links)
        return false;
    const PlugKey own{self._node.nodeId(), self._attr, self._element};
    const auto collect = [&](const std::vector<Link>& links) {
        for (const Link& l : links)
            if (l.own == own)
                plugs.append(KPlug(objectOf(l.other.node), l.other.attr, l.other.element));
    };
    if (asDestination)
        collect(node->links->in);
    if (asSource)
        collect(node->links->out);
    return plugs.length() > 0;
}

// -- Structure ------------------------------------------------------------------------------------

namespace
{

bool isInstanceMatrix(const Node& node, int attr)
{
    return node.isDag && attrOf(node, attr).kind == AttrKind::Matrix && attrOf(node, attr).isArray();
}

} // namespace

bool KPlug::isArray() const
{
    return !isNull() && _element < 0 && attrOf(*nodeOf(_node), _attr).isArray();
}

bool KPlug::isCompound() const
{
    if (isNull())
        return false;
    const Attr& attr = attrOf(*nodeOf(_node), _attr);
    return attr.childCount > 0 || attr.kind == AttrKind::Compound;
}

unsigned KPlug::numElements(KStatus* status) const
{
    if (!isArray()) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return 0;
    }
    give(status, KStatus(KStatus::kSuccess));
    const Node& node = *nodeOf(_node);
    // One element for each instance: these are the matrices of the DAG.
    if (isInstanceMatrix(node, _attr))
        return Scene::current().pathCount(static_cast<const DagNode&>(node));
    return static_cast<unsigned>(Scene::current().elements(node, _attr).size());
}

namespace
{

/// Attributes that name `parent` as theirs, in table order.
std::vector<int> childrenOf(const NodeType& type, int parent)
{
    std::vector<int> out;
    for (size_t i = 0; i < type.attrs().size(); ++i)
        if (type.attrs()[i].parent == parent)
            out.push_back(static_cast<int>(i));
    return out;
}

} // namespace

unsigned KPlug::numChildren(KStatus* status) const
{
    if (!isCompound()) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return 0;
    }
    give(status, KStatus(KStatus::kSuccess));
    return static_cast<unsigned>(childrenOf(*nodeOf(_node)->type, _attr).size());
}

KPlug KPlug::elementByLogicalIndex(unsigned index, KStatus* status) const
{
    if (!isArray() || index > 0x7fffffffu) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KPlug();
    }
    give(status, KStatus(KStatus::kSuccess));
    return KPlug(_node, _attr, static_cast<int>(index));
}

KPlug KPlug::elementByPhysicalIndex(unsigned index, KStatus* status) const
{
    KStatus known;
    const unsigned count = numElements(&known);
    if (known.error() || index >= count) {
        give(status, known.error() ? known : KStatus(KStatus::kIndexOutOfRange));
        return KPlug();
    }
    give(status, KStatus(KStatus::kSuccess));
    const Node& node = *nodeOf(_node);
    return KPlug(_node, _attr,
                 isInstanceMatrix(node, _attr) ? static_cast<int>(index)
                                               : Scene::current().elements(node, _attr)[index]);
}

KPlug KPlug::child(unsigned index, KStatus* status) const
{
    const std::vector<int> children =
        isCompound() ? childrenOf(*nodeOf(_node)->type, _attr) : std::vector<int>();
    if (index >= children.size()) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KPlug();
    }
    give(status, KStatus(KStatus::kSuccess));
    return KPlug(_node, children[index], _element);
}

KPlug KPlug::parent(KStatus* status) const
{
    const int parent = isNull() ? -1 : attrOf(*nodeOf(_node), _attr).parent;
    if (parent < 0) {
        give(status, KStatus(KStatus::kInvalidParameter));
        return KPlug();
    }
    give(status, KStatus(KStatus::kSuccess));
    return KPlug(_node, parent, _element);
}
