#include "kelda/KFnDependencyNode.h"

#include "api/Api.h"

using namespace kelda;

// -- KFnBase --------------------------------------------------------------------------------------

KFnBase::~KFnBase() = default;

KFn::Type KFnBase::type() const
{
    return KFn::kBase;
}

KObject KFnBase::object(KStatus* status) const
{
    give(status, KStatus(_object.isNull() ? KStatus::kInvalidParameter : KStatus::kSuccess));
    return _object.isNull() ? KObject() : _object;
}

bool KFnBase::hasObj(const KObject& object) const
{
    return object.hasFn(type());
}

KStatus KFnBase::setObject(const KObject& object)
{
    const KStatus entered = enter();
    if (entered.error())
        return entered;
    if (!hasObj(object))
        return KStatus::kInvalidParameter;
    _object = object;
    return KStatus::kSuccess;
}

// -- KFnDependencyNode ----------------------------------------------------------------------------

KFnDependencyNode::KFnDependencyNode(const KObject& object, KStatus* status)
{
    if (!give(status, enter("KFnDependencyNode::KFnDependencyNode")).error())
        give(status, setObject(object));
}

KFn::Type KFnDependencyNode::type() const
{
    return KFn::kDependencyNode;
}

namespace
{

/// The node a call acts on, or null with the status of the failure.
Node* target(const KObject& object, KStatus* status)
{
    if (give(status, enter()).error())
        return nullptr;
    Node* node = nodeOf(object);
    if (!node)
        give(status, KStatus(KStatus::kInvalidParameter));
    return node;
}

} // namespace

KObject KFnDependencyNode::create(const KString& typeName, const KString& name, KStatus* status)
{
    if (give(status, enter("KFnDependencyNode::create")).error())
        return KObject();
    const NodeType* nodeType = findNodeType(typeName.str());
    Outcome why(KStatus::kInvalidParameter, std::string());
    Node* node =
        nodeType ? Scene::current().create(*nodeType, name.str(), kWorld, Scene::kLast, &why) : nullptr;
    if (!node || !hasObj(objectOf(node->id))) {
        if (node)
            Scene::current().remove({node->id});
        give(status, KStatus(why.code == KStatus::kSuccess ? KStatus::kInvalidParameter : why.code));
        return KObject();
    }
    _object = objectOf(node->id);
    return _object;
}

KString KFnDependencyNode::typeName(KStatus* status) const
{
    const Node* node = target(_object, status);
    return node ? KString(node->type->name()) : KString();
}

KString KFnDependencyNode::name(KStatus* status) const
{
    const Node* node = target(_object, status);
    return node ? KString(Scene::current().name(*node)) : KString();
}

KString KFnDependencyNode::setName(const KString& name, KStatus* status)
{
    Node* node = target(_object, status);
    if (!node || give(status, enter("KFnDependencyNode::setName")).error())
        return KString();
    give(status, Scene::current().rename(*node, name.str()));
    return KString(Scene::current().name(*node));
}

KPlug KFnDependencyNode::findPlug(const KString& attribute, KStatus* status) const
{
    const Node* node = target(_object, status);
    if (!node || give(status, enter("KFnDependencyNode::findPlug")).error())
        return KPlug();
    PlugKey plug;
    const Outcome found = Scene::current().findPlug(*node, attribute.str(), plug);
    give(status, found);
    return found ? KPlug(_object, plug.attr, plug.element) : KPlug();
}

bool KFnDependencyNode::hasAttribute(const KString& attribute, KStatus* status) const
{
    const Node* node = target(_object, status);
    PlugKey ignored;
    return node && Scene::current().findPlug(*node, attribute.str(), ignored);
}

unsigned KFnDependencyNode::attributeCount(KStatus* status) const
{
    const Node* node = target(_object, status);
    return node ? static_cast<unsigned>(node->type->attrs().size()) : 0;
}

bool KFnDependencyNode::isDefaultNode(KStatus* status) const
{
    const Node* node = target(_object, status);
    return node && node->isDefault;
}
