#include <zyInterfaces/zyReferenceInterface.h>

#include <utility>

zyReferenceInterface::zyReferenceInterface() = default;

zyReferenceInterface::~zyReferenceInterface() = default;

osg::NodePtr zyReferenceInterface::processImportRoot(osg::NodePtr root, std::string filePath)
{
    return _importRootHandler ? _importRootHandler(root, std::move(filePath)) : root;
}

zyReferenceInterface::ImportRootHandler zyReferenceInterface::setImportRootHandler(ImportRootHandler handler)
{
    std::swap(handler, _importRootHandler);
    return handler;
}
