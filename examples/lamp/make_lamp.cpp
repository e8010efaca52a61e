// make_lamp FOLDER: builds a desk lamp of NURBS surfaces through the SDK and saves it.
//
// Centimetres; y points up. The committed lamp.ka is this program's output.

#include "Building.h"

#include <kelda/KFileIO.h>
#include <kelda/KGlobal.h>

#include <cmath>

namespace
{
const double arc = std::sqrt(0.5); // weight of the corner of a quarter of a circle

/// A plate with a hole for the cable and three for screws: a square of 20 parameters, trimmed.
void addPlate(const KObject& lamp)
{
    const KObject plate = makeTransform("plate", lamp);
    const KObject surface = makeSurface("plate", {{-10, 0, 10}, {-10, 0, -10}, {10, 0, 10}, {10, 0, -10}},
                                        {0, 20}, {0, 20}, 1, 1, false, plate);
    trim(surface, {{10, 10, 9}, {10, 16, 0.9}, {10, 4, 1.5}, {4.8, 13, 0.9}, {15.2, 13, 0.9}});
    place(plate, 0, 0.6, 0);
}

/// The rim around the plate: a torus.
void addRim(const KObject& lamp)
{
    const KObject rim = makeTransform("rim", lamp);
    makeRevolved("rim",
                 {{9.6, 0},
                  {9.6, 0.6, 0, arc},
                  {9, 0.6},
                  {8.4, 0.6, 0, arc},
                  {8.4, 0},
                  {8.4, -0.6, 0, arc},
                  {9, -0.6},
                  {9.6, -0.6, 0, arc},
                  {9.6, 0}},
                 {0, 0, 1, 1, 2, 2, 3, 3, 4, 4}, 2, rim);
    place(rim, 0, 0.6, 0);
}

void addStem(const KObject& lamp)
{
    const KObject stem = makeTransform("stem", lamp);
    makeRevolved("stem", {{0.7, 0}, {0.7, 22}}, {0, 22}, 1, stem);
    place(stem, 0, 0.6, 0);
}

/// A sphere, its poles up and down.
void addBulb(const KObject& lamp)
{
    const KObject bulb = makeTransform("bulb", lamp);
    makeRevolved("bulb", {{0, -3}, {3, -3, 0, arc}, {3, 0}, {3, 3, 0, arc}, {0, 3}}, {0, 0, 1, 1, 2, 2}, 2,
                 bulb);
    place(bulb, 0, 25, 0);
}

void addShade(const KObject& lamp)
{
    const KObject shade = makeTransform("shade", lamp);
    makeRevolved("shade", {{12, 0}, {10, 4}, {6, 6}, {5, 12}}, {0, 0, 0, 1, 1, 1}, 3, shade);
    place(shade, 0, 20, 0);
    turn("shade.rotate", 0, 0, 12);
}
} // namespace

int main(int argc, char** argv)
{
    return runGenerator(argc, argv, [](const std::string& folder) {
        check(KFileIO::newFile(true), "new scene");
        run("currentUnit -linear \"cm\"");
        const KObject lamp = makeTransform("lamp", KObject::kNullObj);
        addPlate(lamp);
        addRim(lamp);
        addStem(lamp);
        addBulb(lamp);
        addShade(lamp);
        check(KFileIO::saveAs((folder + "/lamp.ka").c_str(), nullptr, true), "save");
    });
}
