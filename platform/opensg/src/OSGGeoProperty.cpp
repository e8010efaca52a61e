#include <OpenSG/OSGGeoProperty.h>

OSG_BEGIN_NAMESPACE

template <class DescT>
FieldContainerType& AbstractGeoProperty<DescT>::getClassType()
{
    static FieldContainerType* const type =
        new FieldContainerType(DescT::typeName(), &Attachment::getClassType(), nullptr, sizeof(SelfT),
                               nullptr, &FieldCollector<SelfT>::collect);
    return *type;
}

template <class DescT>
FieldContainerType& GeoProperty<DescT>::getClassType()
{
    static FieldContainerType* const type = new FieldContainerType(
        DescT::typeName(), &AbstractT::getClassType(), DescT::groupName(), sizeof(SelfT),
        []() -> FieldContainer* { return createEmpty().getCPtr(); }, &FieldCollector<SelfT>::collect);
    return *type;
}

template class AbstractGeoProperty<GeoPositionsDesc>;
template class AbstractGeoProperty<GeoNormalsDesc>;
template class AbstractGeoProperty<GeoColorsDesc>;
template class AbstractGeoProperty<GeoTexCoordsDesc>;
template class AbstractGeoProperty<GeoIndicesDesc>;
template class AbstractGeoProperty<GeoPTypesDesc>;
template class AbstractGeoProperty<GeoPLengthsDesc>;

#define OSG_GEO_PROPERTY_INST(Class, ...)                                                                    \
    template class GeoProperty<Class##Desc>;                                                                 \
    static const UInt32 typeIdOf##Class = Class::getClassTypeId();                                           \
    static_assert(sizeof(typeIdOf##Class) == 4, "registers the type");

OSG_ALL_GEO_PROPERTIES(OSG_GEO_PROPERTY_INST)

OSG_END_NAMESPACE
