#include <OpenSG/OSGDrawable.h>
#include <OpenSG/OSGMaterialDrawable.h>

OSG_BEGIN_NAMESPACE

OSG_ABSTRACT_FIELD_CONTAINER_INST(Drawable, nullptr)
OSG_ABSTRACT_FIELD_CONTAINER_INST(MaterialDrawable, nullptr)

void Drawable::setTransform(const Transform3DPtr& transform)
{
    hold(_transform, transform, false);
    invalidateVolume();
}

void Drawable::onCreate(const FieldContainer* source)
{
    acquire(_transform, false);
    Inherited::onCreate(source);
}

void Drawable::onDestroy()
{
    release(_transform, false);
    Inherited::onDestroy();
}

void Drawable::onClone(const FieldContainer* source, const CloneFunction& clone)
{
    const Drawable* const drawable = static_cast<const Drawable*>(source);
    hold(_transform, clone(drawable->_transform), false);
    Inherited::onClone(source, clone);
}

OSG_END_NAMESPACE
