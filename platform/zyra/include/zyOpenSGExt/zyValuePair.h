#ifndef ZYVALUEPAIR_H
#define ZYVALUEPAIR_H

#include <zyOpenSGExt/zyOpenSGExtApi.h>

#include <OpenSG/OSGAttachment.h>

#include <string>

namespace osg
{

OSG_FC_HANDLE(ValuePair, AttachmentPtr)

/// An attachment that holds texts under names: small facts about a node that the host keeps with the scene.
///
///     osg::ValuePairPtr pair = osg::ValuePair::create();
///     pair->set("ShadowMesh", "true");
///     node->addAttachment(pair);
///
/// A container has at most one (for each binding), found with
/// `findAttachment(osg::ValuePair::getClassType())`. The type registers itself when its library is loaded,
/// before or after osgInit(); from then on pairs are written to and read from scene files like any
/// attachment.
class ZYOPENSGEXT_API ValuePair : public Attachment
{
    OSG_FIELD_CONTAINER(ValuePair, Attachment)

    /// The names, each once, in the order in which they were set, and the text of each at the same index.
    OSG_MFIELD(3, Keys, keys, String)
    OSG_MFIELD(4, Values, values, String)

    /// Stores `value` under `key`, in place of what was there. Makes its own edit.
    void set(const std::string& key, const std::string& value);

    /// The text under `key`; "" when there is none.
    std::string get(const std::string& key) const;

    bool has(const std::string& key) const;

    /// Takes `key` and its text away. Makes its own edit.
    /// @return false when there is none.
    bool remove(const std::string& key);

private:
    // The place of `key` where it has a text: lists of different lengths, as a damaged file may hold, end
    // with the shorter one.
    Int32 find(const std::string& key) const;
};

} // namespace osg

#endif
