#pragma once

#include "OSGOsbFormat.h"

#include <OpenSG/OSGFieldContainer.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGNodePtr.h>

#include <iosfwd>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

OSG_BEGIN_NAMESPACE

/// Writes one ".osb" stream: the root first, then everything it holds, breadth-first, with ids from 1 in this
/// order.
class OsbWriter
{
public:
    /// \param fileName  for messages; may be null
    OsbWriter(const Char8* fileName, const OsbOptions& options);

    /// Once per object. False, after a line in the log, if \a root is null or the stream fails.
    bool write(const NodePtr& root, std::ostream& out);

private:
    struct FieldPlan {
        enum Form : UInt8 { Values, Handles, Attachments };
        const FieldDescription* description;
        const OsbElement* element; ///< null unless Form is Values
        Form form;
        bool multi;
        bool counted;       ///< the handle counts as a reference
        Int32 quantized;    ///< place in osbQuantized; -1 if it is never quantized
        bool indices;       ///< indices of a geometry, which may be packed
        bool pixels;        ///< pixels of an image
        bool ofNamed;       ///< belongs to an image of which only the name is written
        std::string header; ///< name and type as they stand in the file
    };
    struct TypePlan {
        std::string start; ///< type name as it stands in the file
        bool hasKind;
        UInt8 kind;
        bool isGeometry;
        bool isImage;
        std::vector<FieldPlan> fields;
    };
    typedef std::vector<std::pair<FieldContainerPtr, UInt16>> AttachmentList;

    const TypePlan& planOf(const FieldContainerType& type);
    void collect(const NodePtr& root);
    void collectTarget(const FieldContainerPtr& target);
    /// Attachments with their bindings. By name of their types: their order in the container depends on the
    /// process.
    static AttachmentList attachmentsOf(const Field& field);
    /// The property is stored in few bits instead of as a record.
    bool isQuantized(const FieldPlan& field, const FieldContainerPtr& property) const;
    bool isPacked(const FieldPlan& field, const FieldContainerPtr& property) const;
    UInt32 idOf(const FieldContainerPtr& container) const;

    void writeRecord(const FieldContainerPtr& container);
    void writeField(const FieldContainerPtr& container, const FieldPlan& field);
    void writeValues(const FieldPlan& plan, const Field& field);
    void writeStrings(const FieldPlan& plan, const Field& field);
    void writeHandles(const FieldPlan& plan, const Field& field);
    void writeAttachments(const FieldPlan& plan, const Field& field);
    void writeQuantized(const OsbQuantized& form, UInt32 bytes, const FieldContainerPtr& property);
    void writePackedIndices(const FieldContainerPtr& property);
    void writeImage(const ImagePtr& image, const TypePlan& plan);
    /// The image as a block of an image file; empty where it stays as it is.
    std::vector<UInt8> compressed(const ImagePtr& image) const;

    void putU8(UInt8 value) { _buffer.push_back(static_cast<Char8>(value)); }
    void putU16(UInt16 value);
    void putU32(UInt32 value);
    void putReal32(Real32 value);
    void putString(const Char8* text, std::size_t length) { appendString(_buffer, text, length); }
    void putUnits(const void* source, std::size_t unitCount, UInt32 unitSize);
    void flushIfLarge();
    static void appendString(std::string& buffer, const Char8* text, std::size_t length);

    std::string _fileName;
    OsbOptions _options;
    std::ostream* _out = nullptr;
    std::string _buffer; ///< what has not been given to the stream yet

    std::unordered_map<const FieldContainerType*, TypePlan> _plans;
    std::vector<FieldContainerPtr> _containers; ///< in file order
    std::unordered_map<const FieldContainer*, UInt32> _ids;
};

OSG_END_NAMESPACE
