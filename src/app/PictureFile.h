#pragma once

// What stands in the way of the output picture, asked before it is written.

/// True when the picture could not be written now, which is reported as its writer would. Ask before rendering for
/// hours.
[[nodiscard]] bool isPictureRefused(const char* szFile);

/// True when a regular file has that name already.
bool isOldPicture(const char* szFile);
