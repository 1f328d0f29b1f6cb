#pragma once
// How much a process that reads a model may take: a broken file leads some readers astray.

#include <cstdint>

namespace rt {

/// Limits this process's time and memory, for good, and turns its core files off. Limits that it has already and that
/// are stricter stay.
void limitReader();

/// Adds so many bytes to what the process may have.
void allowMemory(uint64_t uBytes);

/// Adds the memory that a file of this size may need.
void allowMemoryFor(uint64_t uFileBytes);

}  // namespace rt
