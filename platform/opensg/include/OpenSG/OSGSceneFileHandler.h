#pragma once

#include <OpenSG/OSGGraphOpSeq.h>
#include <OpenSG/OSGNodePtr.h>
#include <OpenSG/OSGPathHandler.h>
#include <OpenSG/OSGSceneFileType.h>

#include <iosfwd>
#include <list>
#include <map>
#include <string>

OSG_BEGIN_NAMESPACE

/// Reads and writes scene files through the registered SceneFileType of their suffix. One per process; not to
/// be used by several threads at once.
class OSG_PLATFORM_API SceneFileHandler
{
public:
    typedef void (*progresscbfp)(UInt32 percent);
    typedef void (*filecbfp)(const Char8* fileName);
    /// Reads or writes in place of the type.
    typedef NodePtr (*fileioreadcbfp)(SceneFileType* type, std::istream& in,
                                      const Char8* fileNameOrExtension);
    typedef bool (*fileiowritecbfp)(SceneFileType* type, const NodePtr& node, std::ostream& out,
                                    const Char8* fileNameOrExtension, bool compress);

    SceneFileHandler(const SceneFileHandler&) = delete;
    SceneFileHandler& operator=(const SceneFileHandler&) = delete;

    static SceneFileHandler& the();
    /// the()->read(..) is the same as the().read(..).
    SceneFileHandler* operator->() { return this; }

    // -- Read and write --

    /// Reads a file: finds it (see getPathHandler), calls the type of its suffix and runs the graph
    /// operations. When the type's read() gives nothing, its readFile() is asked. Callbacks, in order: begin,
    /// progress 0, what the type reports, end; the last only if there is a result.
    ///
    /// \param graphOpSeq  null for none
    /// \return root with reference count 0; null, with a warning in the log, if there is no such file or type
    NodePtr read(const Char8* fileName, GraphOpSeq* graphOpSeq = getDefaultGraphOp());
    /// \param extension  suffix or file name by which the type is found; passed on to it
    NodePtr read(std::istream& in, const Char8* extension, GraphOpSeq* graphOpSeq = getDefaultGraphOp());

    /// Writes a file through the type of its suffix; without one nothing is touched.
    ///
    /// The file is created or emptied before the type's write() runs, so one that fails leaves an empty or
    /// partial file. Then, or if the file cannot be opened, the type's writeFile() has the last word.
    /// Callbacks, in order: progress 0, begin, progress 0, what the type reports, end; the last only if
    /// write() succeeded.
    ///
    /// \param compress  not supported: an error in the log, and writeFile() is asked
    bool write(const NodePtr& node, const Char8* fileName, bool compress = false);
    bool write(const NodePtr& node, std::ostream& out, const Char8* extension, bool compress = false);

    // -- Types and their options --

    /// Type for a file name or an extension; null if there is none. The suffix is what follows the last dot,
    /// or the whole text without a dot, in any case; one of "gz" (in lower case) is dropped and that before
    /// it taken.
    SceneFileType* getFileType(const Char8* fileNameOrExtension);
    /// Appends the suffixes, in alphabetical order, whose type has all the flags. The texts are the
    /// handler's. \return number of suffixes in the list
    int getSuffixList(std::list<const Char8*>& suffixes,
                      UInt32 flags = SceneFileType::OSG_READ_SUPPORTED | SceneFileType::OSG_WRITE_SUPPORTED);
    /// Writes all types to the log.
    void print();

    /// Keeps options for one suffix; other suffixes of the same type have their own. The suffix may be a file
    /// name, as for getFileType. False if no type is known for it.
    bool setOptions(const Char8* suffix, const Char8* options);
    /// Null if no type is known for the suffix or nothing was set for it.
    const Char8* getOptions(const Char8* suffix);

    // -- Progress --

    /// \param cb          null for none
    /// \param use_thread  accepted; progress is reported on the reading thread in either case, by the file
    /// type
    void setReadProgressCB(progresscbfp cb, bool use_thread = true);
    progresscbfp getReadProgressCB() const { return _readProgress; }
    void setReadBeginCB(filecbfp cb) { _readBegin = cb; }
    void setReadEndCB(filecbfp cb) { _readEnd = cb; }
    void setWriteProgressCB(progresscbfp cb) { _writeProgress = cb; }
    progresscbfp getWriteProgressCB() const { return _writeProgress; }
    void setWriteBeginCB(filecbfp cb) { _writeBegin = cb; }
    void setWriteEndCB(filecbfp cb) { _writeEnd = cb; }

    /// Reports how far the stream of the current read() has been read, in percent; nothing outside of one.
    void updateReadProgress();
    void updateReadProgress(UInt32 percent);
    void updateWriteProgress(UInt32 percent);
    void triggerReadBegin(const Char8* fileName);
    void triggerReadEnd(const Char8* fileName);
    void triggerWriteBegin(const Char8* fileName);
    void triggerWriteEnd(const Char8* fileName);

    // -- Parts --

    /// Handler set by the program, or the built-in one. The built-in one looks in the current directory;
    /// during a read its base file is the file being read, so that a type finds what lies beside.
    PathHandler* getPathHandler();
    /// \param pathHandler  stays the caller's; null goes back to the built-in one
    void setPathHandler(PathHandler* pathHandler) { _pathHandler = pathHandler; }

    /// An empty sequence until the program sets another.
    static GraphOpSeq* getDefaultGraphOp();
    /// Takes ownership; null for none.
    static void setDefaultGraphOp(GraphOpSeq* graphOpSeq);

    void setReadCB(fileioreadcbfp cb) { _readFP = cb; }
    fileioreadcbfp getReadCB() const { return _readFP; }
    void setWriteCB(fileiowritecbfp cb) { _writeFP = cb; }
    fileiowritecbfp getWriteCB() const { return _writeFP; }

private:
    friend class SceneFileType;
    typedef std::list<SceneFileType*> FileTypeList;
    class ReadScope;

    SceneFileHandler() = default;
    ~SceneFileHandler() = delete; // types in static variables leave late

    void addSceneFileType(SceneFileType& fileType);
    void subSceneFileType(SceneFileType& fileType);
    std::map<std::string, FileTypeList>::iterator findSuffix(const Char8* fileNameOrExtension);

    std::string findFile(const Char8* fileName);
    NodePtr readStream(SceneFileType* type, std::istream& in, const Char8* fileNameOrExtension);
    bool writeStream(SceneFileType* type, const NodePtr& node, std::ostream& out,
                     const Char8* fileNameOrExtension, bool compress);

    std::map<std::string, FileTypeList> _types;  ///< lists are never empty; the front is used
    std::map<std::string, std::string> _options; ///< by suffix

    progresscbfp _readProgress = nullptr;
    filecbfp _readBegin = nullptr;
    filecbfp _readEnd = nullptr;
    progresscbfp _writeProgress = nullptr;
    filecbfp _writeBegin = nullptr;
    filecbfp _writeEnd = nullptr;
    fileioreadcbfp _readFP = nullptr;
    fileiowritecbfp _writeFP = nullptr;

    std::istream* _readStream = nullptr; ///< of the innermost read(); null outside
    UInt64 _readSize = 0;                ///< its bytes

    PathHandler* _pathHandler = nullptr;
    PathHandler _defaultPathHandler;
};

OSG_END_NAMESPACE
