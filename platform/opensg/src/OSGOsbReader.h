#pragma once

#include "OSGOsbFormat.h"

#include <OpenSG/OSGFieldContainer.h>
#include <OpenSG/OSGImage.h>
#include <OpenSG/OSGNodePtr.h>

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

OSG_BEGIN_NAMESPACE

/// Reads one ".osb" stream.
///
/// The stream is taken into memory as a whole and walked once; the steps are those of read(), in this order.
/// Every count is held against the bytes that are left before anything is allocated. Time and memory are
/// linear in the file's size.
class OsbReader
{
public:
    /// \param fileName  for messages; may be null
    OsbReader(const Char8* fileName, const OsbOptions& options);
    /// Releases whatever has been built and not been given away.
    ~OsbReader();
    OsbReader(const OsbReader&) = delete;
    OsbReader& operator=(const OsbReader&) = delete;

    /// Once per object. Null, after one line in the log, if the file cannot be read.
    NodePtr read(std::istream& in);

private:
    /// One field of a known type, as found in files.
    struct FieldPlan {
        enum Form : UInt8 { Skipped, Values, Handles, Attachments };
        std::string_view name;
        std::string_view typeName;
        const FieldDescription* description;
        const OsbElement* element; ///< null unless Form is Values
        Form form;
        bool multi;
        bool counted;  ///< the handle counts as a reference
        bool children; ///< children of a node
        bool core;     ///< core of a node
    };
    struct TypePlan {
        const FieldContainerType* type = nullptr; ///< null: not known, or nothing can be created of it
        std::vector<FieldPlan> fields;            ///< in the order of their ids
        UInt32 lost = 0;                          ///< records of an unknown type
        std::string standIn;                      ///< what was put in their place; empty: nothing
    };
    struct Record {
        FieldContainerPtr
            container; ///< null: left out. Holds a reference of the reader's, except for the root.
        std::size_t firstReference; ///< its references end where those of the next record start
    };
    /// A field of handles, to be set when all records are known.
    struct Reference {
        const FieldPlan* plan;
        std::size_t firstTarget;
        UInt32 count;
        std::size_t bindings; ///< place in the file of the attachments' bindings; 0 if all are 0
    };
    /// A handle that does not count as a reference: its target may be gone in the end.
    struct WeakHandle {
        UInt32 ownerId; ///< ids of the containers in this process
        UInt32 targetId;
        const FieldDescription* description;
        UInt32 index;
    };
    /// How often something was dropped, and where first.
    struct Drops {
        UInt32 count = 0;
        std::size_t position = 0;
    };

    static constexpr UInt32 noTarget = 0xffffffffu;

    // -- Steps of read() --

    bool load(std::istream& in);
    bool readHeader();
    bool readRecords();
    void resolveTargets();
    void cutCircles();
    void settleChildren();
    void connect();
    NodePtr finish();

    // -- Records and fields --

    bool readRecord(std::string_view typeName);
    bool readFields(TypePlan* plan, const FieldContainerPtr& container, bool isGeometry);
    bool readValues(const FieldPlan& plan, Field& field, UInt32 size);
    bool readStrings(const FieldPlan& plan, Field& field, UInt32 size);
    bool readHandles(const FieldPlan& plan, std::string_view typeName, UInt32 size);
    bool readAttachments(const FieldPlan& plan, UInt32 size);
    bool readQuantized(const OsbQuantized& form, const FieldContainerPtr& geometry);
    bool readPackedIndices(const FieldContainerPtr& geometry);
    bool readCompressedPixels(const ImagePtr& image, UInt32 size);
    /// Reads the file of an image without pixels; drops pixels that do not fit to the size.
    void finishImage(const ImagePtr& image);
    /// A new property behind a geometry's field, its values to be written by the caller; null if the classes
    /// are not known or the field is set already.
    static void* newProperty(const FieldContainerPtr& geometry, const Char8* geometryField,
                             const Char8* propertyClass, const Char8* propertyField, UInt32 count);

    TypePlan& planOf(std::string_view typeName);
    FieldContainerPtr create(TypePlan& plan, std::string_view typeName, UInt8 kind);
    const FieldPlan* findField(const TypePlan& plan, std::string_view name, std::size_t& next) const;
    void connectReference(const FieldContainerPtr& container, const Reference& reference);

    // -- Bytes. Only these look at the data; each checks, sets the error and gives false at the end of it. --

    std::size_t left() const { return _size - _pos; }
    bool readU8(UInt8& value);
    bool readU16(UInt16& value);
    bool readU32(UInt32& value);
    bool readReal32(Real32& value);
    bool readString(std::string_view& value);
    UInt32 peekU32(std::size_t position) const;
    UInt16 peekU16(std::size_t position) const;

    /// Keeps the first message with the place where the reader stands; always false.
    bool fail(const Char8* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    bool failAtEnd();
    static void drop(Drops& drops, std::size_t position);
    void warn(const Drops& drops, const Char8* what) const;
    void warnLost() const;

    std::string _fileName;
    OsbOptions _options;
    std::unique_ptr<UInt8[]> _data;
    std::size_t _size = 0;
    std::size_t _pos = 0;
    std::string _error;      ///< empty: none
    std::string _context;    ///< type of the record being read
    std::string_view _field; ///< name of the field being read

    std::map<std::string, TypePlan, std::less<>> _plans;
    std::vector<Record> _records;                   ///< the first one is the root
    std::unordered_map<UInt32, UInt32> _recordOfId; ///< id in the file to place in _records
    std::vector<Reference> _references;
    std::vector<std::size_t> _targetPositions; ///< where in the file the ids stand
    std::vector<UInt32> _targets;              ///< places in _records, or noTarget
    std::vector<WeakHandle> _weakHandles;

    Drops _unknownIds;
    Drops _wrongClasses;
    Drops _circles;
    Drops _doubleRecords;
    Drops _wrongPixels;
};

OSG_END_NAMESPACE
