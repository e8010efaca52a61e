#pragma once

#include "Camera.h"
#include "DrawList.h"
#include "GlContext.h"
#include "Notices.h"

#include <OpenSG/OSGColor.h>
#include <OpenSG/OSGImage.h>

#include <string>

namespace zyscene::render
{

struct PictureOptions {
    unsigned int width = 1280; ///< pixels; at least 1, at most GlContext::maxSide()
    unsigned int height = 720;
    View view = View::Iso;
    osg::Color3f background = osg::Color3f(0.8f, 0.8f, 0.8f);
};

/// Draws a scene as the host's viewer would, with its chunks as the OpenGL state that they stand for.
///
/// First all that hides what is behind it, in the order of the list; then what shows things through, from the
/// far to the near by the middle of each drawable. The same scene gives the same picture.
///
/// @param image   set to the picture, RGB of 8 bits
/// @param notices gets what could not be drawn
/// @return an empty text, or why there is no picture
std::string drawPicture(const GlContext& context, const DrawList& list, const PictureOptions& options,
                        const osg::ImagePtr& image, Notices& notices);

} // namespace zyscene::render
