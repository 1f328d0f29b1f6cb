#pragma once

#include "base/Vectors.h"
#include "scene/Attributes.h"

namespace rt {

// The procedural brick wall: running bond, each brick slightly rotated and bevelled into the mortar, with a colour of
// its own, a noisy relief that tilts the shading normal, and optional dirt. Lengths are in scene units.

/// Colour at texture coordinates uv; fScaleU and fScaleV turn them into scene units. Tilts and normalises *pNormal,
/// which must be (0, 0, 1) in texture space. With dirt, darkens the colour and sets the attribute's fKts.
Velk::NMVector3f Wall(Velk::NMVector2f uv, float fScaleU, float fScaleV, float fBrickWidth, float fBrickHeight,
                      float fMortarWidth, float fAngleCoeff, bool bDirt, Velk::NMVector3f* pNormal,
                      AttributeInstance* pAttribute);

/// Height of one brick, from 0 in the joint to 1 on its face, at a position in its cell, and the normal of its bevel
/// (unchanged in the joint; pNormal may be null). v2Mortar is in fractions of the cell, the angle in radians.
void DrawBrick(const Velk::NMVector2f& v2Position, const Velk::NMVector2f& v2Centre, const Velk::NMVector2f& v2Size,
               const Velk::NMVector2f& v2Mortar, float fAngle, float* pHeight, Velk::NMVector3f* pNormal);

/// Colour of a brick at bevel height t.
Velk::NMVector3f getBrickColour(float t, int iColumn, int iRow);

/// Relief height alone, in [0, 1], each brick rotated about a point of its own. For displacement mapping; the program
/// does not call it.
float Height(Velk::NMVector2f uv, float fScaleU, float fScaleV, float fBrickWidth, float fBrickHeight,
             float fMortarWidth);

/// (a . p, b . p, c . p)
Velk::NMVector3f TransformPoint(const Velk::NMVector3f& p, const Velk::NMVector3f& a, const Velk::NMVector3f& b,
                                const Velk::NMVector3f& c);

}  // namespace rt
