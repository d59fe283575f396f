// Value text. Numbers are formatted item by item into a small local buffer and then placed
// into the caller's text only when they fit, so that every bound is a plain comparison of
// lengths and nothing is written past `room`.
#include "exif/value_format.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "exif/apex.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/tags.h"
#include "exif/value_tables.h"
#include "frame/cp932.h"

namespace {

constexpr uint32_t kLensKind = 264;

std::atomic<LensTextFunction> g_lensText{nullptr};

// One formatted item; the longest is a signed rational with nine decimals and a unit.
struct Piece {
  std::array<char, 80> bytes;  // filled by whoever makes the piece
  int length = 0;
  std::string_view view() const { return {bytes.data(), size_t(length)}; }
};

Piece Format(const char* format, ...) {
  Piece piece;
  piece.bytes[0] = 0;
  va_list arguments;
  va_start(arguments, format);
  const int written = std::vsnprintf(piece.bytes.data(), piece.bytes.size(), format, arguments);
  va_end(arguments);
  piece.length = std::clamp(written, 0, int(piece.bytes.size()) - 1);
  return piece;
}

// A whole number, without the cost of a format string (lists of thousands of numbers).
template <class T>
Piece Integer(T value) {
  Piece piece;
  const auto result = std::to_chars(piece.bytes.data(), piece.bytes.data() + piece.bytes.size() - 1, value);
  piece.length = int(result.ptr - piece.bytes.data());
  piece.bytes[size_t(piece.length)] = 0;
  return piece;
}

// "%.Nf" followed by a suffix, N chosen at run time.
Piece FormatDecimals(double value, int decimals, const char* suffix) {
  return Format("%.*f%s", decimals, value, suffix);
}

// The caller's text with its bound.
struct Output {
  char* text;
  uint32_t room;
  uint32_t length = 0;

  Output(char* destination, uint32_t size) : text(destination), room(destination ? size : 0) {
    if (room) text[0] = 0;
  }
  bool Fits(size_t size) const { return room && length + size < room; }
  // Appends the whole part, or nothing when it would not fit with the terminator.
  bool Put(std::string_view part) {
    if (!Fits(part.size())) return false;
    std::memcpy(text + length, part.data(), part.size());
    length += uint32_t(part.size());
    text[length] = 0;
    return true;
  }
  // Appends as much of a CP932 text as fits, never half of a two-byte character.
  void PutCut(std::string_view cp932) {
    if (!room) return;
    size_t take = 0;
    while (take < cp932.size()) {
      const size_t step = Cp932IsLeadByte(uint8_t(cp932[take])) && take + 1 < cp932.size() ? 2 : 1;
      if (length + take + step >= room) break;
      take += step;
    }
    Put(cp932.substr(0, take));
  }
  // Appends raw value bytes up to the first zero, as many as fit.
  void PutBytes(const uint8_t* bytes, size_t size) {
    if (!room) return;
    size_t take = 0;
    while (take < size && bytes[take] != 0 && length + take + 1 < room) ++take;
    Put(std::string_view(reinterpret_cast<const char*>(bytes), take));
  }
  int Done() const { return int(length); }
};

void PutSystemText(Output& out, const char* utf8) { out.PutCut(Cp932Text(utf8)); }

bool IsByteType(uint32_t type) { return type == TypeByte || type == TypeSignedByte || type == TypeUndefined; }
bool IsWordType(uint32_t type) { return type == TypeShort || type == TypeLong; }
bool IsRationalType(uint32_t type) { return type == TypeRational || type == TypeSRational; }

// Elements the entry really holds: its count, bounded by the bytes of its value.
uint32_t ElementCount(const TagEntry& entry) {
  const uint32_t size = ExifTypeSize(entry.type);
  if (size == 0) return 0;
  return std::min(entry.count, entry.ValueSize() / size);
}

struct Rational {
  int64_t numerator;
  int64_t denominator;
};

// Rational i, both words signed for SRATIONAL and unsigned otherwise.
Rational RationalAt(const TagEntry& entry, uint32_t i) {
  const uint32_t n = entry.U32(2 * i), d = entry.U32(2 * i + 1);
  if (entry.type == TypeSRational) return {int32_t(n), int32_t(d)};
  return {n, d};
}

double Quotient(const Rational& r) { return double(r.numerator) / double(r.denominator); }
bool DividesExactly(const Rational& r) { return r.denominator != 0 && r.numerator % r.denominator == 0; }
uint64_t Magnitude(int64_t value) { return value < 0 ? uint64_t(-value) : uint64_t(value); }

// ---------------------------------------------------------------------------------------------
// By type

// Bytes as "%02X " each; an item that does not fit turns the last one written into "...".
int FormatBytes(const TagEntry& entry, Output& out) {
  const uint32_t count = ElementCount(entry);
  if (out.room < 3 || count == 0) return 0;
  static constexpr char kHex[] = "0123456789ABCDEF";
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t byte = entry.Data()[i];
    const char item[3] = {kHex[byte >> 4], kHex[byte & 15], ' '};
    if (out.Put(std::string_view(item, 3))) continue;
    if (out.length >= 3) {
      std::memcpy(out.text + out.length - 3, "...", 3);
    } else {
      out.PutCut("...");
    }
    break;
  }
  return out.Done();
}

int FormatAscii(const TagEntry& entry, Output& out) {
  out.PutBytes(entry.Data(), std::min(entry.count, entry.ValueSize()));
  return out.Done();
}

// Numbers joined by ",". When one would reach the bound, the text ends in "...": the "..."
// alone while fewer than 4 bytes were written, else in the last 3 bytes before the bound.
class NumberList {
 public:
  explicit NumberList(Output& out) : out_(out) {}

  bool Add(std::string_view item) {
    if (ended_) return false;
    Piece joined;
    joined.bytes[0] = 0;
    if (!first_) joined.bytes[joined.length++] = ',';
    const size_t size = std::min(item.size(), joined.bytes.size() - 2);
    std::memcpy(joined.bytes.data() + joined.length, item.data(), size);
    joined.length += int(size);
    first_ = false;
    if (out_.Put(joined.view())) return true;
    End(joined.view());
    return false;
  }

 private:
  void End(std::string_view overflowing) {
    ended_ = true;
    if (!out_.room) return;
    if (out_.length < 4) {
      out_.length = 0;
      out_.text[0] = 0;
      out_.PutCut("...");
      return;
    }
    const uint32_t last = out_.room - 1;
    const size_t take = std::min<size_t>(overflowing.size(), last - out_.length);
    std::memcpy(out_.text + out_.length, overflowing.data(), take);
    std::memcpy(out_.text + last - 3, "...", 3);
    out_.text[last] = 0;
    out_.length = last;
  }

  Output& out_;
  bool first_ = true;
  bool ended_ = false;
};

Piece DecimalItem(const Rational& r) {
  if (r.numerator == 0 || r.denominator == 0) return Format("0.0 ");
  if (DividesExactly(r)) return Format("%.0f ", Quotient(r));
  return FormatDecimals(Quotient(r), int(TruncatedLog10(Magnitude(r.denominator))), " ");
}

int FormatNumbers(const TagEntry& entry, Output& out, int decimal) {
  const uint32_t count = ElementCount(entry);
  NumberList list(out);
  for (uint32_t i = 0; i < count; ++i) {
    Piece item;
    switch (entry.type) {
      case TypeShort:
        item = Integer(int(entry.U16(i)));
        break;
      case TypeSShort:
        item = Integer(int(entry.S16(i)));
        break;
      case TypeLong:
        item = Integer(entry.U32(i));
        break;
      case TypeSLong:
        item = Integer(entry.S32(i));
        break;
      case TypeRational:
        item = decimal ? DecimalItem(RationalAt(entry, i)) : Format("%u/%u", entry.U32(2 * i), entry.U32(2 * i + 1));
        break;
      case TypeSRational:
        item = decimal ? DecimalItem(RationalAt(entry, i))
                       : Format("%d/%d", int32_t(entry.U32(2 * i)), int32_t(entry.U32(2 * i + 1)));
        break;
      default:
        return out.Done();
    }
    if (!list.Add(item.view())) break;
  }
  return out.Done();
}

int FormatValueInto(const TagEntry* entry, Output& out, int decimal) {
  if (!entry || !out.room) return out.Done();
  switch (entry->type) {
    case TypeByte:
    case TypeSignedByte:
    case TypeUndefined:
      return FormatBytes(*entry, out);
    case TypeAscii:
      return FormatAscii(*entry, out);
    case TypeShort:
    case TypeLong:
    case TypeSShort:
    case TypeSLong:
    case TypeRational:
    case TypeSRational:
      return FormatNumbers(*entry, out, decimal);
    default:
      return out.Done();
  }
}

Piece RationalText(uint32_t type, uint32_t numerator, uint32_t denominator) {
  const Rational r = type == TypeSRational ? Rational{int32_t(numerator), int32_t(denominator)}
                                           : Rational{numerator, denominator};
  if (r.denominator == 0) return Format("0.0");
  if (DividesExactly(r)) return Format("%.0f", Quotient(r));
  const uint64_t magnitude = Magnitude(r.denominator);
  return FormatDecimals(Quotient(r), int(TruncatedLog10(magnitude) + (magnitude < 10 ? 1 : 0)), "");
}

// ---------------------------------------------------------------------------------------------
// Meanings of the standard tags

// Seconds as the list shows them: fractions of a second as 1/x, longer times with the
// seconds mark.
Piece ExposureText(uint32_t n, uint32_t d) {
  if (n == 0 || d == 0) return Format("0");
  if (n / d < 1) {
    if (n == 1 || d % n == 0) return Format("%u/%u", 1u, d / n);
    return Format("1/%.1f", double(d) / double(n));
  }
  if (d == 1 || n % d == 0) return Format("%u\"", n / d);
  return FormatDecimals(double(n) / double(d), int(TruncatedLog10(d) + (d % 10 != 0 ? 1 : 0)), "\"");
}

Piece FNumberText(uint32_t n, uint32_t d) {
  if (d == 0) return Format("F0.0");
  if (n % d == 0) return Format("F%u", n / d);
  return Format("F%.1f", double(n) / double(d));
}

Piece EvText(const Rational& r) {
  if (r.numerator == 0 || r.denominator == 0) return Format("0EV");
  return Format("%.1fEV", Quotient(r));
}

// One item of LensSpecification: whole millimetres or F-numbers plain, others with one
// decimal, and the unknown value (0/0, and the 0/1 some cameras write) as "?".
Piece LensItem(const TagEntry& entry, uint32_t i) {
  const uint32_t n = entry.U32(2 * i);
  const uint32_t d = entry.U32(2 * i + 1);
  if (n == 0 || d == 0) return Format("?");
  if (n % d == 0) return Format("%u", n / d);
  return Format("%.1f", double(n) / double(d));
}

// LensSpecification (42034) as a lens is named: "24-70mm F2.8", "70-300mm F4.5-5.6".
Piece LensSpecificationText(const TagEntry& entry) {
  const Piece shortest = LensItem(entry, 0), longest = LensItem(entry, 1);
  const Piece wide = LensItem(entry, 2), tele = LensItem(entry, 3);
  const bool zoom = shortest.view() != longest.view(), varies = wide.view() != tele.view();
  return Format("%s%s%smm F%s%s%s", shortest.bytes.data(), zoom ? "-" : "", zoom ? longest.bytes.data() : "",
                wide.bytes.data(), varies ? "-" : "", varies ? tele.bytes.data() : "");
}

int FormatExifRational(const TagEntry& entry, Output& out) {
  const Rational r = RationalAt(entry, 0);
  uint32_t words[2] = {entry.U32(0), entry.U32(1)};
  Piece piece;
  switch (entry.tag) {
    case TagExposureTime:
      piece = ExposureText(words[0], words[1]);
      break;
    case TagFNumber:
      piece = FNumberText(words[0], words[1]);
      break;
    case TagShutterSpeedValue: {
      ApexDecode(ApexShutter, words);
      const Piece seconds = words[0] == 0 || words[1] == 0 ? Format("0") : ExposureText(words[0], words[1]);
      piece = Format("%s(%s)", EvText(r).bytes.data(), seconds.bytes.data());
      break;
    }
    case TagApertureValue: {
      ApexDecode(ApexAperture, words);
      const Piece f = words[0] == 0 || words[1] == 0 ? Format("F0")
                      : words[0] % words[1] == 0      ? Format("F%u", words[0] / words[1])
                                                      : Format("F%.1f", double(words[0]) / double(words[1]));
      piece = Format("%s(%s)", EvText(r).bytes.data(), f.bytes.data());
      break;
    }
    case TagBrightnessValue:
      piece = EvText(r);
      break;
    case TagExposureBiasValue:
      piece = r.numerator == 0 || r.denominator == 0 ? Format("0.0EV") : Format("%+.1fEV", Quotient(r));
      break;
    case TagMaxApertureValue:
      ApexDecode(ApexAperture, words);
      piece = FNumberText(words[0], words[1]);
      break;
    case TagExifFocalLength:
    case TagFocalLengthIn35mmFilm:
      piece = r.denominator == 0 ? Format("0mm")
              : DividesExactly(r) ? Format("%lldmm", (long long)(r.numerator / r.denominator))
                                  : Format("%.1fmm", Quotient(r));
      break;
    case TagLensSpecification:
      if (entry.type != TypeRational || ElementCount(entry) < 4) return FormatValueInto(&entry, out, 1);
      piece = LensSpecificationText(entry);
      break;
    case TagDigitalZoomRatio:
    case TagGainControl:
    // Measures of later editions, read as numbers: the environment and the gamma.
    case TagTemperature:
    case TagHumidity:
    case TagPressure:
    case TagWaterDepth:
    case TagAcceleration:
    case TagCameraElevationAngle:
    case TagGamma:
      return FormatValueInto(&entry, out, 1);
    default:
      return FormatValueInto(&entry, out, 0);
  }
  out.PutCut(piece.view());
  return out.Done();
}

// The value of an enumerated tag, or false when the entry holds no such element.
bool CodeValue(const TagEntry& entry, uint32_t element, uint32_t* value) {
  if (element >= ElementCount(entry)) return false;
  *value = entry.type == TypeShort ? entry.U16(element) : entry.U32(element);
  return true;
}

// A word tag with a value table; false when the tag has none.
bool FormatCode(const TagEntry& entry, uint32_t kind, Output& out) {
  const ValueTable* table = ValueTableFind(kind, GroupWord, entry.tag);
  if (!table) return false;
  uint32_t value = 0;
  const char* meaning = CodeValue(entry, table->element, &value) ? ValueTableText(*table, value) : nullptr;
  if (!meaning) meaning = table->otherwise;
  if (!meaning) return false;
  PutSystemText(out, meaning);
  return true;
}

int FormatWord(const TagEntry& entry, uint32_t kind, Output& out) {
  if (FormatCode(entry, kind, out)) return out.Done();
  uint32_t value = 0;
  if (kind == IfdExif && entry.tag == TagFocalLengthIn35mmFilm) {
    if (CodeValue(entry, 0, &value))
      out.PutCut(Format("%umm", value).view());
    else
      PutSystemText(out, "不明");
    return out.Done();
  }
  return FormatValueInto(&entry, out, 0);
}

// UserComment in the ASCII or undefined code: the text behind the 8-byte code, cut so that a
// Shift-JIS pair is never broken.
bool FormatUserComment(const TagEntry& entry, Output& out) {
  static constexpr uint8_t kAsciiCode[8] = {'A', 'S', 'C', 'I', 'I', 0, 0, 0};
  static constexpr uint8_t kUndefinedCode[8] = {};
  const uint32_t size = std::min(entry.count, entry.ValueSize());
  if (size < 8) return false;
  if (std::memcmp(entry.Data(), kAsciiCode, 8) != 0 && std::memcmp(entry.Data(), kUndefinedCode, 8) != 0)
    return false;
  const uint8_t* comment = entry.Data() + 8;
  const uint32_t limit = std::min(size - 8, out.room - 1);
  uint32_t take = 0;
  while (take < limit && comment[take] != 0) {
    const uint8_t byte = comment[take];
    const bool lead = (byte >= 0x81 && byte <= 0x9F) || (byte >= 0xE0 && byte <= 0xEF);
    if (!lead) {
      ++take;
      continue;
    }
    if (take + 1 >= limit || comment[take + 1] == 0) break;
    take += 2;
  }
  out.Put(std::string_view(reinterpret_cast<const char*>(comment), take));
  return true;
}

int FormatExifBytes(const TagEntry& entry, Output& out) {
  switch (entry.tag) {
    case TagExifVersion:
    case TagFlashPixVersion:
      out.PutBytes(entry.Data(), std::min({entry.count, entry.ValueSize(), 4u}));
      return out.Done();
    case TagComponentsConfiguration: {
      static constexpr const char* kComponents[] = {" ", "Y", "Cb", "Cr", "R", "G", "B"};
      for (uint32_t i = 0, count = ElementCount(entry); i < count; ++i) {
        const uint8_t c = entry.Data()[i];
        if (!out.Put(kComponents[c < std::size(kComponents) ? c : 0])) break;
      }
      return out.Done();
    }
    case TagUserComment:
      if (FormatUserComment(entry, out)) return out.Done();
      return FormatValueInto(&entry, out, 0);
    default:
      break;
  }
  if (const ValueTable* table = ValueTableFind(IfdExif, GroupByte, entry.tag)) {
    const char* meaning = ElementCount(entry) ? ValueTableText(*table, entry.Data()[0]) : nullptr;
    PutSystemText(out, meaning ? meaning : table->otherwise);
    return out.Done();
  }
  return FormatValueInto(&entry, out, 0);
}

// A date "YYYY:MM:DD hh:mm:ss" reads "YYYY/MM/DD hh:mm:ss"; a date of blanks reads empty.
int FormatDate(const TagEntry& entry, Output& out) {
  FormatAscii(entry, out);
  if (out.length > 4) out.text[4] = '/';
  if (out.length > 7) out.text[7] = '/';
  while (out.length > 0 && (out.text[out.length - 1] < '0' || out.text[out.length - 1] > '9')) --out.length;
  if (out.room) out.text[out.length] = 0;
  return out.Done();
}

bool IsDateTag(uint32_t kind, uint16_t tag) {
  return (kind == IfdPrimary && tag == TagDateTime) ||
         (kind == IfdExif && (tag == TagDateTimeOriginal || tag == TagDateTimeDigitized));
}

int FormatStandard(const TagEntry& entry, uint32_t kind, Output& out) {
  const bool mainTable = kind == IfdPrimary || kind == IfdThumbnail;
  if (IsByteType(entry.type) && kind == IfdExif) return FormatExifBytes(entry, out);
  if (entry.type == TypeAscii && IsDateTag(kind, entry.tag)) return FormatDate(entry, out);
  if (IsWordType(entry.type) && (mainTable || kind == IfdExif)) return FormatWord(entry, kind, out);
  if (IsRationalType(entry.type) && mainTable)
    return FormatValueInto(&entry, out, entry.tag == TagXResolution || entry.tag == TagYResolution ? 1 : 0);
  if (IsRationalType(entry.type) && kind == IfdExif) return FormatExifRational(entry, out);
  return FormatValueInto(&entry, out, 0);
}

// ---------------------------------------------------------------------------------------------
// GPS

int FormatGpsBytes(const TagEntry& entry, Output& out) {
  if (entry.tag == TagGpsVersionId) {  // as dotted numbers
    for (uint32_t i = 0, count = ElementCount(entry); i < count; ++i) {
      const int byte = entry.type == TypeSignedByte ? int(int8_t(entry.Data()[i])) : int(entry.Data()[i]);
      if (!out.Put(Format("%d.", byte).view())) break;
    }
    if (out.length > 0 && out.text[out.length - 1] == '.') out.text[--out.length] = 0;
    return out.Done();
  }
  if (const ValueTable* table = ValueTableFind(IfdGps, GroupByte, entry.tag)) {
    const char* meaning = ElementCount(entry) ? ValueTableText(*table, entry.Data()[0]) : nullptr;
    PutSystemText(out, meaning ? meaning : table->otherwise);
    return out.Done();
  }
  return FormatValueInto(&entry, out, 0);
}

int FormatGpsAscii(const TagEntry& entry, Output& out) {
  const ValueTable* table = ValueTableFind(IfdGps, GroupLetter, entry.tag);
  if (table && ElementCount(entry) > 0) {
    if (const char* meaning = ValueTableText(*table, entry.Data()[0])) {
      PutSystemText(out, meaning);
      return out.Done();
    }
  }
  return FormatAscii(entry, out);
}

// Items each followed by its unit, any item beyond the units by a blank; an item that does
// not fit ends the text.
template <size_t N>
int FormatGpsItems(const TagEntry& entry, Output& out, const std::array<const char*, N>& units,
                   Piece (*item)(const TagEntry&, uint32_t)) {
  for (uint32_t i = 0, count = ElementCount(entry); i < count; ++i) {
    const Piece number = item(entry, i);
    const char* unit = i < N ? Cp932Text(units[i]) : " ";
    if (!out.Fits(number.view().size() + std::strlen(unit))) break;
    out.Put(number.view());
    out.Put(unit);
  }
  return out.Done();
}

Piece AngleItem(const TagEntry& entry, uint32_t i) {
  return RationalText(entry.type, entry.U32(2 * i), entry.U32(2 * i + 1));
}

Piece TimeItem(const TagEntry& entry, uint32_t i) {
  const Rational r = RationalAt(entry, i);
  return r.denominator == 0 ? Format("0") : Format("%.0f", Quotient(r));
}

int FormatGpsRational(const TagEntry& entry, Output& out) {
  switch (entry.tag) {
    case TagGpsLatitude:
    case TagGpsLongitude:
    case TagGpsDestLatitude:
    case TagGpsDestLongitude:
      return FormatGpsItems(entry, out, std::array<const char*, 3>{"度 ", "分 ", "秒 "}, AngleItem);
    case TagGpsAltitude: {
      const Rational r = RationalAt(entry, 0);
      out.PutCut((r.denominator == 0 ? Format("0m") : Format("%.0fm", Quotient(r))).view());
      return out.Done();
    }
    case TagGpsTimeStamp:
      return FormatGpsItems(entry, out, std::array<const char*, 3>{"時 ", "分 ", "秒 "}, TimeItem);
    default:
      return FormatValueInto(&entry, out, 0);
  }
}

int FormatGpsInto(const TagEntry* entry, Output& out) {
  if (!entry || !out.room) return out.Done();
  if (IsByteType(entry->type)) return FormatGpsBytes(*entry, out);
  if (entry->type == TypeAscii) return FormatGpsAscii(*entry, out);
  if (IsRationalType(entry->type)) return FormatGpsRational(*entry, out);
  if (IsWordType(entry->type) && FormatCode(*entry, IfdGps, out)) return out.Done();
  return FormatValueInto(entry, out, 0);
}

// A MakerNote table's text from the open handler; the general value text when it has none.
int FormatMakerNote(const ExifDocument* document, const TagEntry& entry, uint32_t kind, Output& out) {
  MakerNoteHandler* handler = TagKindHandler(document, kind);
  if (!handler || !handler->descriptor) return out.Done();
  const MakerNoteDescriptor* family = handler->descriptor;
  if (family->formatValueIn && handler->context)
    family->formatValueIn(handler->context.get(), &entry, kind & 0xFFFFu, out.text, out.room);
  else if (family->formatValue)
    family->formatValue(&entry, kind & 0xFFFFu, out.text, out.room);
  else
    return FormatValueInto(&entry, out, 0);
  out.text[out.room - 1] = 0;
  out.length = uint32_t(std::find(out.text, out.text + out.room, '\0') - out.text);
  return out.Done();
}

}  // namespace

int ExifFormatValue(const TagEntry* entry, char* text, uint32_t room, int decimal) {
  Output out(text, room);
  return FormatValueInto(entry, out, decimal);
}

int ExifFormatRational(uint32_t type, const uint32_t* rational, char* text, uint32_t room) {
  Output out(text, room);
  if (!rational) return 0;
  out.PutCut(RationalText(type, rational[0], rational[1]).view());
  return out.Done();
}

int ExifFormatGps(const TagEntry* entry, char* text, uint32_t room) {
  Output out(text, room);
  return FormatGpsInto(entry, out);
}

int ExifFormatTag(const ExifDocument* document, const TagEntry* entry, uint32_t kind, char* text, uint32_t room) {
  Output out(text, room);
  if (!document || !entry || !out.room) return 0;
  if (kind == IfdGps) return FormatGpsInto(entry, out);
  if (kind >= kIfdMakerNoteFirst) return FormatMakerNote(document, *entry, kind, out);
  return FormatStandard(*entry, kind, out);
}

int ExifDescribeTag(const ExifDocument* document, uint32_t kind, const TagEntry* entry, const char** displayName,
                    char* text, uint32_t room) {
  if (displayName) *displayName = TagDisplayName(document, kind, entry ? entry->tag : 0);
  return ExifFormatTag(document, entry, kind, text, room);
}

void ExifInstallLensText(LensTextFunction compose) { g_lensText.store(compose); }

int ExifTagText(ExifDocument* document, uint32_t kind, uint16_t tag, char* text, uint32_t room) {
  Output out(text, room);
  if (!document || !out.room) return 0;
  if ((kind & 0xFFFFu) == kLensKind) {
    // Not a table: the lens text is composed from the note's tables.
    if (const LensTextFunction compose = g_lensText.load()) {
      const int made = compose(document, kind, tag, out.text, out.room);
      out.text[out.room - 1] = 0;
      return made == 1 && out.text[0] != 0 ? 1 : 0;
    }
    MakerNoteHandler* handler = TagKindHandler(document, kind);
    if (!handler || !handler->descriptor || !handler->descriptor->formatValue) return 0;
    TagEntry request;
    request.tag = tag;
    request.type = TypeAscii;
    request.value.assign(4, 0);
    handler->descriptor->formatValue(&request, kLensKind, out.text, out.room);
    out.text[out.room - 1] = 0;
    return out.text[0] != 0 ? 1 : 0;
  }
  const TagEntry* entry = ExifFindTag(document, kind, tag);
  if (!entry) return 0;
  ExifFormatTag(document, entry, kind, text, room);
  return 1;
}
