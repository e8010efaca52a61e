#pragma once

#include "kelda/KFnBase.h"
#include "kelda/KPlug.h"
#include "kelda/KString.h"

/// Any node.
class KELDA_API KFnDependencyNode : public KFnBase
{
public:
    KFnDependencyNode() {}
    explicit KFnDependencyNode(const KObject& object, KStatus* status = nullptr);
    KFn::Type type() const override;

    /// Makes a node of that type, below the world when it is a DAG node, and attaches to it. Empty name: the
    /// type's default name, numbered.
    KObject create(const KString& typeName, const KString& name = KString(), KStatus* status = nullptr);
    KObject create(const KString& typeName, KStatus* status) { return create(typeName, KString(), status); }

    KString typeName(KStatus* status = nullptr) const;
    KString name(KStatus* status = nullptr) const; ///< without path
    /// Gives the node a name. What is no letter, digit or "_" becomes "_"; "#" at the end becomes the next
    /// free number; an empty name becomes the type's default name; a name that is taken gets a number.
    /// Answers the name it got.
    KString setName(const KString& name, KStatus* status = nullptr);

    KPlug findPlug(const KString& attribute, KStatus* status = nullptr) const; ///< kNotFound: a null plug
    bool hasAttribute(const KString& attribute, KStatus* status = nullptr) const;
    unsigned attributeCount(KStatus* status = nullptr) const;
    bool isDefaultNode(KStatus* status = nullptr) const;
};
