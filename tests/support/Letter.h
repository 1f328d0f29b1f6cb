// A solid letter F as a model file of each kind, with a foot that sticks out to the front: seen from the front and from
// the side, it tells which way a world is mirrored or turned.
#pragma once

#include <string>

/// Where the letter's points go in an OBJ file.
struct LetterPlace {
    double dScale = 1.0, dX = 0.0, dY = 0.0, dZ = 0.0;
};

/// Copies letter.SUFFIX (obj, stl, ply, dae, gltf with its .bin) from tests/data and returns that name; an OBJ file can
/// be placed elsewhere. STL and COLLADA have z up, PLY and COLLADA have no normals, OBJ has faces of ten corners, glTF
/// holds the letter twice, the second one made by a node that mirrors and halves it, 10 to the left.
std::string writeLetter(const std::string& sSuffix, const LetterPlace& place = {});

/// The same for camera.gltf: the letter, a camera at (1.5, 2.5, 14) that looks at it with a vertical angle of 0.5 and
/// an aspect of 1.5, and a lamp at (4, 9, 12).
std::string writeLetterWithCamera();
