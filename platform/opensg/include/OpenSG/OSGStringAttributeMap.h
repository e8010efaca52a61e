#pragma once

#include <OpenSG/OSGAttachment.h>

#include <string>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(StringAttributeMap, AttachmentPtr)

/// Texts by key; keys[i] belongs to values[i].
class OSG_PLATFORM_API StringAttributeMap : public Attachment
{
    OSG_FIELD_CONTAINER(StringAttributeMap, Attachment)

    OSG_MFIELD(3, Keys, keys, String)
    OSG_MFIELD(4, Values, values, String)

    /// Replaces the value of a key that exists.
    void setAttribute(const std::string& key, const std::string& value);
    /// False, and \a value unchanged, if there is no such key.
    bool getAttribute(const std::string& key, std::string& value) const;
    bool hasAttribute(const std::string& key) const;

protected:
    StringAttributeMap() {}
    StringAttributeMap(const StringAttributeMap&) = default;

private:
    Int32 find(const std::string& key) const;
};

OSG_END_NAMESPACE
