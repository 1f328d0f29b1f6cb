#pragma once

#include "base/Vectors.h"

namespace rt {

/// True when triangle (a, b, c) and the box of the given centre and half-extents overlap, touching included. The fast
/// separating-axis test of Akenine-Möller 2001: nine edge axes, three box faces, the triangle's plane; no epsilon.
bool TriBoxIntersection(const Velk::NMVector3f& v3Centre, const Velk::NMVector3f& v3Half, const Velk::NMVector3f& a,
                        const Velk::NMVector3f& b, const Velk::NMVector3f& c);

/// True when the plane through v3Vert with this normal meets the box [-v3MaxBox, v3MaxBox].
bool PlaneBoxOverlap(const Velk::NMVector3f& v3Normal, const Velk::NMVector3f& v3Vert,
                     const Velk::NMVector3f& v3MaxBox);

}  // namespace rt
