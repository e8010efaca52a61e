#include <OpenSG/OSGFieldContainer.h>

#include <OpenSG/OSGAttachment.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGLog.h>

#include <set>
#include <stdexcept>
#include <utility>

OSG_BEGIN_NAMESPACE

const NullFieldContainerPtr NullFC{};

// -- Type -------------------------------------------------------------------------------------

FieldContainerType& FieldContainer::getClassType()
{
    static FieldContainerType* const type = new FieldContainerType(
        "FieldContainer", nullptr, nullptr, sizeof(FieldContainer), nullptr, [](FieldContainerType&) {});
    return *type;
}

Field* FieldContainer::getField(UInt32 id)
{
    const FieldDescription* const description = getType().getFieldDescription(id);
    return description ? description->getField(this) : nullptr;
}

Field* FieldContainer::getField(const Char8* name)
{
    const FieldDescription* const description = getType().findFieldDescription(name);
    return description ? description->getField(this) : nullptr;
}

void FieldContainer::changed(BitVector, UInt32) {}

void FieldContainer::dump(UInt32 indent, BitVector) const
{
    const std::string margin(indent, ' ');
    SLOG << margin << getTypeName() << " (id " << _id << ", " << _refCount << " references)" << std::endl;
    std::string text;
    for (UInt32 id = 1; id <= getType().getNumFieldDescs(); ++id) {
        SLOG << margin << "    " << getType().getFieldDescription(id)->getCName() << " "
             << getField(id)->getValueByStr(text) << std::endl;
    }
}

// -- Life -------------------------------------------------------------------------------------

FieldContainer::FieldContainer()
    : _refCount(0), _id(FieldContainerFactory::the()->registerContainer(this)), _dying(false), _sweep(false)
{
}

FieldContainer::FieldContainer(const FieldContainer&) : FieldContainer() {}

FieldContainer::~FieldContainer() = default;

void FieldContainer::onCreate(const FieldContainer*)
{
    const FieldContainerType& type = getType();
    for (const UInt32 id : type.getHoldingFields()) {
        const FieldDescription& description = *type.getFieldDescription(id);
        const Field* const field = description.getField(this);
        for (UInt32 i = 0; i < field->getContainerCount(); ++i) {
            acquire(field->getContainer(i), description.getHolding() == FieldDescription::HoldsLinked);
        }
    }
}

void FieldContainer::onDestroy()
{
    const FieldContainerType& type = getType();
    for (const UInt32 id : type.getHoldingFields()) {
        const FieldDescription& description = *type.getFieldDescription(id);
        const Field* const field = description.getField(this);
        for (UInt32 i = 0; i < field->getContainerCount(); ++i) {
            release(field->getContainer(i), description.getHolding() == FieldDescription::HoldsLinked);
        }
    }
}

void FieldContainer::onClone(const FieldContainer*, const CloneFunction&) {}

void FieldContainer::sweepParents() {}

/// Containers that die together with the one whose last reference went away.
struct FieldContainer::Dying {
    std::vector<FieldContainer*> containers; ///< in the order in which they lost their last reference
    std::vector<FieldContainer*> toSweep;    ///< containers that were among the children of dying ones

    static Dying*& current()
    {
        thread_local Dying* dying = nullptr;
        return dying;
    }
};

void FieldContainer::destroy(FieldContainer* first)
{
    if (first->_dying) {
        return;
    }
    first->_dying = true;
    FieldContainerFactory::the()->unregisterContainer(first->_id);

    Dying*& current = Dying::current();
    if (current) {
        current->containers.push_back(first);
        return;
    }

    Dying dying;
    current = &dying;
    dying.containers.push_back(first);
    for (std::size_t i = 0; i < dying.containers.size(); ++i) {
        FieldContainer* const container = dying.containers[i];
        container->onDestroy();
    }
    for (FieldContainer* const container : dying.toSweep) {
        container->_sweep = false;
        if (!container->_dying) {
            container->sweepParents();
        }
    }
    current = nullptr;
    for (FieldContainer* const container : dying.containers) {
        delete container;
    }
}

void FieldContainer::leaveParentsOf(FieldContainer* child)
{
    if (!child->_sweep && !child->_dying) {
        child->_sweep = true;
        Dying::current()->toSweep.push_back(child);
    }
}

// -- References of fields ---------------------------------------------------------------------

void FieldContainer::acquire(const FieldContainerPtr& value, bool linked)
{
    if (value) {
        value->addRef();
        if (linked) {
            static_cast<Attachment*>(value.getCPtr())->addParent(getPtr());
        }
    }
}

void FieldContainer::release(const FieldContainerPtr& value, bool linked)
{
    FieldContainer* const container = value.getCPtr();
    if (!container) {
        return;
    }
    if (linked) {
        if (_dying) {
            leaveParentsOf(container);
        } else {
            static_cast<Attachment*>(container)->subParent(getPtr());
        }
    }
    container->subRef();
}

void FieldContainer::hold(FieldContainerPtr& slot, const FieldContainerPtr& value, bool linked)
{
    if (slot == value) {
        return;
    }
    const FieldContainerPtr old = slot;
    acquire(value, linked);
    slot = value;
    release(old, linked);
}

// -- Edit check -------------------------------------------------------------------------------

namespace EditCheckDetail
{

#ifdef NDEBUG
EditCheck mode = EditCheck::Off;
#else
EditCheck mode = EditCheck::Log;
#endif

/// Edits that are open, innermost last. Kept by id: the address of a container that died inside an edit may
/// be used again.
static std::vector<std::pair<UInt32, BitVector>>& openEdits()
{
    thread_local std::vector<std::pair<UInt32, BitVector>> edits;
    return edits;
}

void begin(const FieldContainer* container, BitVector mask)
{
    openEdits().emplace_back(container->getFieldContainerId(), mask);
}

void end(const FieldContainer* container, BitVector mask)
{
    auto& edits = openEdits();
    const std::pair<UInt32, BitVector> edit(container->getFieldContainerId(), mask);
    for (std::size_t i = edits.size(); i-- > 0;) {
        if (edits[i] == edit) {
            edits.erase(edits.begin() + std::ptrdiff_t(i));
            return;
        }
    }
}

/// Says that the field is changed outside an edit; \a place is where the program did it.
static void report(const FieldContainer* container, BitVector mask, const void* place)
{
    std::string fields;
    const FieldContainerType& type = container->getType();
    for (UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
        if (mask & (BitVector(1) << id)) {
            fields += (fields.empty() ? "" : ", ") + std::string(type.getFieldDescription(id)->getCName());
        }
    }
    const std::string message = std::string(type.getCName()) + ": field " + fields +
                                " is changed outside beginEditCP/endEditCP of its mask";
    if (mode == EditCheck::Fail) {
        throw std::logic_error(message);
    }
    static std::set<std::pair<const void*, BitVector>> reported;
    if (reported.emplace(place, mask).second) {
        SWARNING << message << " (at " << place << ")" << std::endl;
    }
}

void check(const FieldContainer* container, BitVector mask)
{
    const auto& edits = openEdits();
    BitVector missing = mask;
    for (std::size_t i = edits.size(); i-- > 0 && missing != 0;) {
        if (edits[i].first == container->getFieldContainerId()) {
            missing &= ~edits[i].second;
        }
    }
    if (missing != 0) {
        report(container, missing, __builtin_return_address(0));
    }
}

} // namespace EditCheckDetail

EditCheck osgSetEditCheck(EditCheck mode)
{
    return std::exchange(EditCheckDetail::mode, mode);
}

OSG_END_NAMESPACE
