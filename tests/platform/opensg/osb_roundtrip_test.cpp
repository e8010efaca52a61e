#include "osb_bytes.h"

#include <OpenSG/OSGAttachmentContainer.h>
#include <OpenSG/OSGFieldContainerFactory.h>
#include <OpenSG/OSGFieldContainerType.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGLog.h>
#include <OpenSG/OSGMField.h>
#include <OpenSG/OSGNode.h>
#include <OpenSG/OSGSField.h>
#include <OpenSG/OSGSimpleAttachments.h>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstring>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

using namespace osg;

// Graphs of every class that exists, with every field filled, come back from a file as they were. Everything
// goes through reflection, so classes that are added later are covered as well.

namespace
{

class Generator
{
public:
    explicit Generator(std::uint32_t seed) : _random(seed)
    {
        FieldContainerFactory* const factory = FieldContainerFactory::the();
        for (auto it = factory->beginTypes(); it != factory->endTypes(); ++it)
            if (!(*it)->isAbstract() && (*it)->getPrototype() && !(*it)->isNode())
                _types.push_back(*it);
    }

    NodePtr scene()
    {
        // Containers that handles may point to; each references only such as were made before, so there are
        // no circles.
        for (const FieldContainerType* type : _types)
            if (!type->isNodeCore())
                make(*type);
        for (const FieldContainerType* type : _types)
            if (type->isNodeCore())
                make(*type);

        const NodePtr root = Node::create();
        addRefCP(root);
        std::vector<NodePtr> nodes{root};
        const UInt32 count = below(12);
        for (UInt32 i = 0; i < count; ++i) {
            const NodePtr node = Node::create();
            const NodePtr parent = nodes[below(UInt32(nodes.size()))];
            const CPEditor edit(parent);
            parent->addChild(node);
            nodes.push_back(node);
        }
        for (const NodePtr& node : nodes) {
            const CPEditor edit(node);
            node->setTravMask(below(3) == 0 ? UInt32(_random()) : 0xffffffffu);
            std::vector<FieldContainerPtr> cores;
            for (const FieldContainerPtr& container : _pool)
                if (container->getType().isNodeCore())
                    cores.push_back(container);
            if (below(5) != 0)
                node->setCore(NodeCorePtr::dcast(cores[below(UInt32(cores.size()))]));
            attach(node);
        }
        for (const FieldContainerPtr& container : _pool)
            changedCP(container);
        for (FieldContainerPtr& container : _pool)
            subRefCP(container);
        return root;
    }

private:
    UInt32 below(UInt32 limit) { return std::uniform_int_distribution<UInt32>(0, limit - 1)(_random); }

    void make(const FieldContainerType& type)
    {
        const FieldContainerPtr container = type.createFieldContainer();
        addRefCP(container);
        const CPEditor edit(container);
        for (UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
            const FieldDescription& description = *type.getFieldDescription(id);
            if (!description.isInternal())
                fill(container, description, *description.getField(container.getCPtr()));
        }
        if (const ImagePtr image = ImagePtr::dcast(container))
            paint(image);
        const AttachmentContainerPtr holder = AttachmentContainerPtr::dcast(container);
        if (holder)
            attach(holder);
        _pool.push_back(container);
    }

    // Sizes, format and pixels of an image have to fit together.
    void paint(const ImagePtr& image)
    {
        static constexpr UInt32 formats[] = {Image::OSG_L_PF, Image::OSG_RGB_PF, Image::OSG_RGBA_PF,
                                             Image::OSG_RGBA_DXT5};
        static constexpr Int32 types[] = {Image::OSG_UINT8_IMAGEDATA, Image::OSG_FLOAT32_IMAGEDATA};
        const auto some = [this](UInt32 most) { return Int32(1 + below(most)); };
        image->set(formats[below(4)], some(9), some(9), some(2), some(3), some(2), 0.5, nullptr,
                   types[below(2)], true, some(2));
        for (UInt8& value : image->getPixel())
            value = UInt8(_random());
    }

    void attach(const AttachmentContainerPtr& holder)
    {
        const CPEditor edit(holder);
        if (below(2) == 0)
            setName(holder, text());
        for (const FieldContainerPtr& other : _pool)
            if (below(16) == 0 && AttachmentPtr::dcast(other))
                holder->addAttachment(AttachmentPtr::dcast(other), UInt16(below(3) * 300));
    }

    std::string text()
    {
        std::string result(below(8), ' ');
        for (char& ch : result)
            ch = char(1 + below(255));
        return result;
    }

    void fill(const FieldContainerPtr& container, const FieldDescription& description, Field& field)
    {
        const FieldType& type = description.getType();
        const bool multi = type.getCardinality() == FieldType::MULTI_FIELD;
        if (type.isPointer()) {
            // Handles that count go through the same reference counts as the class's own functions.
            if (description.getHolding() == FieldDescription::HoldsNothing)
                return;
            for (const FieldContainerPtr& other : _pool) {
                if (below(3) == 0 || !type.accepts(other) || (!multi && field.getContainer(0)))
                    continue;
                ASSERT_TRUE(multi ? field.addContainer(other) : field.setContainer(other));
                addRefCP(other);
                if (description.getHolding() == FieldDescription::HoldsLinked)
                    AttachmentPtr::dcast(other)->addParent(container);
            }
            return;
        }
        const std::string name = type.getCName();
        if (name == "SFString") {
            static_cast<SFString&>(field).setValue(text());
        } else if (name == "MFString") {
            for (UInt32 i = below(4); i > 0; --i)
                static_cast<MFString&>(field).push_back(text());
        } else if (field.getBlock() != nullptr || multi) {
            const UInt32 count = multi ? below(9) : 1;
            void* const block = field.resizeBlock(count);
            if (block == nullptr)
                return;
            UInt8* const bytes = static_cast<UInt8*>(block);
            const bool isBool = std::strcmp(type.getElementName(), "Bool") == 0;
            for (std::size_t i = 0; i < std::size_t(count) * type.getElementSize(); ++i)
                bytes[i] = isBool ? UInt8(below(2)) : UInt8(_random());
        }
    }

    std::mt19937 _random;
    std::vector<const FieldContainerType*> _types;
    std::vector<FieldContainerPtr> _pool;
};

// -- Comparison -------------------------------------------------------------------------------------

// Bit by bit, as values may be anything, not-a-number included. Containers are followed once for each pair.
class Comparison
{
public:
    void compare(const NodePtr& a, const NodePtr& b)
    {
        push(a, b);
        while (!_open.empty()) {
            const auto pair = _open.back();
            _open.pop_back();
            comparePair(pair.first, pair.second);
        }
    }
    std::size_t size() const { return _partner.size(); }

private:
    void push(const FieldContainerPtr& a, const FieldContainerPtr& b)
    {
        ASSERT_EQ(!a, !b);
        if (!a)
            return;
        const auto inserted = _partner.emplace(a, b);
        ASSERT_EQ(inserted.first->second, b) << "what was shared is shared again, and nothing else";
        if (inserted.second)
            _open.emplace_back(a, b);
    }

    void comparePair(const FieldContainerPtr& a, const FieldContainerPtr& b)
    {
        ASSERT_STREQ(a->getTypeName(), b->getTypeName());
        ASSERT_EQ(a.getRefCount(), b.getRefCount()) << a->getTypeName();
        const FieldContainerType& type = a->getType();
        for (UInt32 id = 1; id <= type.getNumFieldDescs(); ++id) {
            const FieldDescription& description = *type.getFieldDescription(id);
            if (description.isInternal() || std::strcmp(description.getCName(), "volume") == 0)
                continue;
            SCOPED_TRACE(std::string(type.getCName()) + "." + description.getCName());
            const Field& fieldA = *description.getField(a.getCPtr());
            const Field& fieldB = *description.getField(b.getCPtr());
            if (std::strcmp(description.getType().getCName(), "SFAttachmentMap") == 0) {
                const AttachmentMap& mapA = static_cast<const SFAttachmentMap&>(fieldA).getValue();
                const AttachmentMap& mapB = static_cast<const SFAttachmentMap&>(fieldB).getValue();
                ASSERT_EQ(mapA.size(), mapB.size());
                for (auto itA = mapA.begin(), itB = mapB.begin(); itA != mapA.end(); ++itA, ++itB) {
                    ASSERT_EQ(itA->first, itB->first);
                    push(itA->second, itB->second);
                }
            } else if (description.getType().isPointer()) {
                ASSERT_EQ(fieldA.getContainerCount(), fieldB.getContainerCount());
                for (UInt32 i = 0; i < fieldA.getContainerCount(); ++i)
                    push(fieldA.getContainer(i), fieldB.getContainer(i));
            } else if (fieldA.getBlock() != nullptr && fieldA.getSize() != 0) {
                // Matrices that follow from other fields are computed from not-a-numbers, whose bits may
                // differ.
                if (std::strcmp(description.getType().getCName(), "SFMatrix") == 0 &&
                    type.getNumFieldDescs() > id)
                    continue;
                ASSERT_EQ(fieldA.getSize(), fieldB.getSize());
                ASSERT_EQ(
                    0, std::memcmp(fieldA.getBlock(), fieldB.getBlock(),
                                   std::size_t(fieldA.getSize()) * description.getType().getElementSize()));
            } else {
                ASSERT_TRUE(fieldA.equals(fieldB));
            }
        }
    }

    std::map<FieldContainerPtr, FieldContainerPtr> _partner;
    std::vector<std::pair<FieldContainerPtr, FieldContainerPtr>> _open;
};

class OsbRoundTripTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        FieldContainerFactory* const factory = FieldContainerFactory::the();
        for (auto it = factory->beginTypes(); it != factory->endTypes(); ++it)
            (*it)->getPrototype();
    }
    // Random values are not always sensible, and the log would say so for each.
    void SetUp() override { osgLog().setLogType(LOG_NONE, true); }
    void TearDown() override { osgLog().setLogType(LOG_STDERR, true); }
};

} // namespace

TEST_F(OsbRoundTripTest, EveryClassAndFieldComesBack)
{
    std::size_t containers = 0;
    EXPECT_TRUE(rc::check([&containers](std::uint32_t seed) {
        const NothingLeft nothingLeft;
        const NodePtr root = Generator(seed).scene();
        const std::string written = writeOsb(root);
        RC_ASSERT(!written.empty());
        const NodePtr back = readOsb(written);
        RC_ASSERT(back != NullFC);
        addRefCP(back);
        {
            Comparison comparison;
            comparison.compare(root, back);
            containers += comparison.size();
        }
        const bool same = writeOsb(back) == written;
        subRefCP(back);
        subRefCP(root);
        RC_ASSERT(same);
        RC_ASSERT(!::testing::Test::HasFailure());
    }));
    EXPECT_GT(containers, 1000u);
}
