#pragma once

namespace Velk {

/// Sine, cosine and tangent of an angle in radians, and the angle from 0 to pi with a cosine: to the same bits with any
/// C library and on any machine, less than one unit in the last place from the true value. NaN where there is none.
/// They are the bits of glibc 2.36 on 64-bit x86, on which pictures depend; a double function rounded once gives others
/// for some arguments.
float sine(float f);
float cosine(float f);
float tangent(float f);
float arcCosine(float f);

}  // namespace Velk
