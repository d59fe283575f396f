// The eight MakerNote families Tavexon knows, in the order their recognisers run. Each family's
// facts stand in its descriptor (exif/makernote_handler.h), in the family's own file; this list
// holds one row per family.
#pragma once

#include <cstdint>
#include <span>

#include "exif/makernote_handler.h"

// The descriptors in recognition order.
std::span<const MakerNoteDescriptor* const> MakerNoteFamilies();
// The descriptor of a family number, or nullptr.
const MakerNoteDescriptor* MakerNoteFamilyFind(uint32_t family);

// The family's display name; "Unknown" for any other number.
const char* MakerFamilyName(uint32_t family);
