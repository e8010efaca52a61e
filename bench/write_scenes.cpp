// write_scenes FOLDER: writes the scenes S1, S2 and S3 there, as .kb, the first two also as .glb.

#include "scenes.h"

#include <OpenSG/OSGBaseFunctions.h>
#include <kelda/KLibrary.h>

#include <cstdio>
#include <exception>
#include <string>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: write_scenes FOLDER\n");
        return 2;
    }
    osg::osgInit(argc, argv);
    try {
        if (KLibrary::initialize("write_scenes", true).error())
            return 1;
        const std::string folder(argv[1]);
        const bench::Scene s1 = bench::denseMesh();
        bench::writeKelda(s1, folder + "/S1.kb");
        bench::writeGlb(s1, folder + "/S1.glb");
        const bench::Scene s2 = bench::manyNodes();
        bench::writeKelda(s2, folder + "/S2.kb");
        bench::writeGlb(s2, folder + "/S2.glb");
        bench::writeKelda(bench::texturedMeshes(), folder + "/S3.kb");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "write_scenes: %s\n", error.what());
        return 1;
    }
    return 0;
}
