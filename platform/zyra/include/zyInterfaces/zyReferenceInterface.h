#ifndef ZYREFERENCEINTERFACE_H
#define ZYREFERENCEINTERFACE_H

#include <zyInterfaces/zyInterfacesApi.h>

#include <OpenSG/OSGNode.h>

#include <functional>
#include <string>

/// What the host does with scenes that come from files: an importer hands each finished scene through it.
///
/// Found through zyInterfaceFactory. Importers keep the pointer they found for the rest of the process, so
/// the registered object stays the same; what it does is changed through setImportRootHandler().
class ZYINTERFACES_API zyReferenceInterface
{
public:
    /// Takes the root of a scene and the path of the file it came from, returns the node to use in its place.
    typedef std::function<osg::NodePtr(osg::NodePtr root, std::string filePath)> ImportRootHandler;

    zyReferenceInterface();
    virtual ~zyReferenceInterface();

    /// Called once for each imported scene, when it is complete but for its final name.
    /// @param root      the scene's root; its reference count is what the importer made it, usually 0.
    /// @param filePath  the scene's path as the host named it.
    /// @return the node that takes the root's place: `root` itself unless a handler answers another one.
    virtual osg::NodePtr processImportRoot(osg::NodePtr root, std::string filePath);

    /// Has `handler` do the work of processImportRoot(); an empty one restores the default. Not to be called
    /// while a scene is imported on another thread.
    /// @return the handler that was there.
    ImportRootHandler setImportRootHandler(ImportRootHandler handler);

private:
    zyReferenceInterface(const zyReferenceInterface&) = delete;
    zyReferenceInterface& operator=(const zyReferenceInterface&) = delete;

    ImportRootHandler _importRootHandler;
};

#endif
