#include <OpenSG/OSGDirectionalLight.h>
#include <OpenSG/OSGLight.h>
#include <OpenSG/OSGPointLight.h>
#include <OpenSG/OSGSpotLight.h>

OSG_BEGIN_NAMESPACE

OSG_ABSTRACT_FIELD_CONTAINER_INST(Light, nullptr)
OSG_FIELD_CONTAINER_INST(DirectionalLight, nullptr)
OSG_FIELD_CONTAINER_INST(PointLight, nullptr)
OSG_FIELD_CONTAINER_INST(SpotLight, nullptr)

OSG_END_NAMESPACE
