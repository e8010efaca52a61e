#pragma once

#include <OpenSG/OSGAttachment.h>

#include <map>
#include <string>

OSG_BEGIN_NAMESPACE

OSG_FC_HANDLE(ImageGenericAtt, AttachmentPtr)

/// Texts under keys that hang on an image: where it was read from ("fileName" as it was asked for,
/// "fullFilePath") and what else a program keeps there. They are not stored in scene files, only the fact
/// that there is an attachment.
class OSG_PLATFORM_API ImageGenericAtt : public Attachment
{
    OSG_FIELD_CONTAINER(ImageGenericAtt, Attachment)

    /// Null if there is none.
    std::string* findText(const std::string& key);
    void setText(const std::string& key, const std::string& value) { _texts[key] = value; }

protected:
    ImageGenericAtt() {}
    ImageGenericAtt(const ImageGenericAtt&) = default;

private:
    std::map<std::string, std::string> _texts;
};

OSG_END_NAMESPACE
