// Byte-order primitives and type sizes: the only place file order meets host order.
#include <bit>

#include "exif/exif_document.h"

static_assert(std::endian::native == std::endian::little,
              "tag values are held in little-endian host order; a big-endian host needs ExifSwapValue for II files");

uint32_t ExifTypeSize(uint32_t type) {
  switch (type) {
    case TypeByte:
    case TypeAscii:
    case TypeSignedByte:
    case TypeUndefined:
      return 1;
    case TypeShort:
    case TypeSShort:
      return 2;
    case TypeLong:
    case TypeSLong:
      return 4;
    case TypeRational:
    case TypeSRational:
      return 8;
    default:
      return 0;
  }
}

uint32_t ExifTypeSizeWide(uint32_t type) {
  switch (type) {
    case 11: return 1;
    case 13: return 2;
    default: return ExifTypeSize(type);
  }
}

uint16_t ExifReadU16(uint32_t bigEndian, const uint8_t* b) {
  return bigEndian ? uint16_t(b[0] << 8 | b[1]) : uint16_t(b[1] << 8 | b[0]);
}

uint32_t ExifReadU32(uint32_t bigEndian, const uint8_t* b) {
  return bigEndian ? uint32_t(b[0]) << 24 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 8 | b[3]
                   : uint32_t(b[3]) << 24 | uint32_t(b[2]) << 16 | uint32_t(b[1]) << 8 | b[0];
}

void ExifWriteU16(uint32_t bigEndian, uint8_t* b, uint16_t v) {
  if (bigEndian) {
    b[0] = uint8_t(v >> 8);
    b[1] = uint8_t(v);
  } else {
    b[0] = uint8_t(v);
    b[1] = uint8_t(v >> 8);
  }
}

void ExifWriteU32(uint32_t bigEndian, uint8_t* b, uint32_t v) {
  if (bigEndian) {
    b[0] = uint8_t(v >> 24);
    b[1] = uint8_t(v >> 16);
    b[2] = uint8_t(v >> 8);
    b[3] = uint8_t(v);
  } else {
    b[0] = uint8_t(v);
    b[1] = uint8_t(v >> 8);
    b[2] = uint8_t(v >> 16);
    b[3] = uint8_t(v >> 24);
  }
}

void ExifWriteValue(const ExifContext* context, uint8_t* bytes, uint32_t type, uint32_t count, const uint8_t* value) {
  const TypeSizeFunction sizeOf = context && context->typeSize ? context->typeSize : ExifTypeSize;
  const uint32_t bigEndian = context ? context->bigEndian : 0;
  const uint32_t size = sizeOf(type);
  switch (size) {
    case 1:
      std::memcpy(bytes, value, count);
      break;
    case 2:
      for (uint32_t i = 0; i < count; ++i) {
        uint16_t v;
        std::memcpy(&v, value + 2 * i, 2);
        ExifWriteU16(bigEndian, bytes + 2 * i, v);
      }
      break;
    case 4:
    case 8: {
      const uint32_t words = count * (size / 4);
      for (uint32_t i = 0; i < words; ++i) {
        uint32_t v;
        std::memcpy(&v, value + 4 * i, 4);
        ExifWriteU32(bigEndian, bytes + 4 * i, v);
      }
      break;
    }
    default:
      break;
  }
}

void ExifSwapValue(const uint8_t* source, uint8_t* destination, uint32_t type, uint32_t count) {
  switch (type) {
    case TypeShort:
    case TypeSShort:
      for (uint32_t i = 0; i < count; ++i) {
        uint16_t v = ExifReadU16(1, source + 2 * i);
        std::memcpy(destination + 2 * i, &v, 2);
      }
      break;
    case TypeLong:
    case TypeSLong:
    case TypeRational:
    case TypeSRational: {
      const uint32_t words = (type == TypeLong || type == TypeSLong) ? count : 2 * count;
      for (uint32_t i = 0; i < words; ++i) {
        uint32_t v = ExifReadU32(1, source + 4 * i);
        std::memcpy(destination + 4 * i, &v, 4);
      }
      break;
    }
    default:
      // Types the document does not know by size are copied as bytes; a MakerNote size
      // function may still give them a size, so the caller passes the byte count as count.
      std::memcpy(destination, source, count);
      break;
  }
}
