#pragma once

#include <string>

/// Paints the car's textures and saves them as PNG files into the folder. Throws what cannot be saved.
void savePictures(const std::string& folder);
