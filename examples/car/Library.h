#pragma once

#include <string>

/// Saves a pool of materials that stand in for the car's by their names: gold for "chrome", smoked for
/// "glass". Throws what cannot be saved.
void saveMaterialLibrary(const std::string& file);
