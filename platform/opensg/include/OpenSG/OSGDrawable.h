#pragma once

#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGTransform3D.h>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(Drawable, NodeCorePtr)

/// A core that is drawn.
class OSG_PLATFORM_API Drawable : public NodeCore
{
    OSG_ABSTRACT_FIELD_CONTAINER(Drawable, NodeCore)

    /// Transform between the drawable's own system and its node's; null for none. Deliberately no described
    /// field: files must load in programs whose drawables have none. It is referenced and cloned with the
    /// drawable.
    const Transform3DPtr& getTransform() const { return _transform; }
    void setTransform(const Transform3DPtr& transform);

protected:
    Drawable() {}
    Drawable(const Drawable&) = default;

    void onCreate(const FieldContainer* source) override;
    void onDestroy() override;
    void onClone(const FieldContainer* source, const CloneFunction& clone) override;

private:
    Transform3DPtr _transform;
};

OSG_END_NAMESPACE
