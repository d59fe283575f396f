// Helpers of the shooting tests: data files written on the fly from frame lines, and the
// text of entries.
#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "exif/exif_document.h"
#include "shooting/camera_data_file.h"
#include "tests/support/test_support.h"

namespace shootingtest {

// A real F6 detailed frame line (film 32, frame 1), the base that tests vary column by column.
inline const std::vector<std::string> kRealF6Frame{
    "01",  "100",        "F11", "35",        "F1.8",   "Color matrix", "A",         "Front curtain sync", "0.0",
    "0.0", "0.0",        "non-TTL auto flash", "None", "AE Unlock",    "VR off",    "2026/06/08",         "07:00"};

inline const std::string kF6HeaderTitles = "Film speed,Film number,Camera ID";
inline const std::string kF6ColumnTitles =
    "Frame number,Shutter speed,Aperture,Focal length,Lens maximum aperture,Metering system,Exposure mode,"
    "Flash sync mode,Exposure compensation value,EV difference in Manual,Flash exposure compensation value,"
    "Speedlight setting,Multiple exposure,Lock,Vibration Reduction,Date(yy/mm/dd),Time";

inline std::string JoinFields(const std::vector<std::string>& fields) {
  std::string line;
  for (size_t i = 0; i < fields.size(); ++i) line += (i ? "," : "") + fields[i];
  return line;
}

// The real F6 frame with some columns replaced: {column index, text}.
inline std::string F6Frame(const std::vector<std::pair<size_t, std::string>>& changes) {
  std::vector<std::string> fields = kRealF6Frame;
  for (const auto& [column, text] : changes) fields.at(column) = text;
  return JoinFields(fields);
}

inline void WriteLines(const std::filesystem::path& file, const std::vector<std::string>& lines) {
  std::ofstream out(file, std::ios::binary);
  for (const std::string& line : lines) out << line << '\n';
}

// Writes lines to a file and reads it as dataType; nullptr when the read fails.
inline CameraDataFilePtr ReadLines(const testsupport::ScratchDir& scratch, const std::vector<std::string>& lines,
                                   uint32_t dataType) {
  const auto file = scratch / "data.txt";
  WriteLines(file, lines);
  CameraDataFilePtr data = CameraDataFileCreate(file.string().c_str());
  if (!data || CameraDataFileRead(data.get(), dataType) != 1) return nullptr;
  return data;
}

// An F6 detailed file of ISO 400 with the given frame lines.
inline CameraDataFilePtr ReadF6Frames(const testsupport::ScratchDir& scratch, const std::vector<std::string>& frames) {
  std::vector<std::string> lines{kF6HeaderTitles, "400,32,000", kF6ColumnTitles};
  lines.insert(lines.end(), frames.begin(), frames.end());
  return ReadLines(scratch, lines, 0);
}

inline std::string EntryText(const TagEntry& entry) {
  return std::string(reinterpret_cast<const char*>(entry.Data()));
}

inline const TagEntry* FindEntry(const TagList& list, uint16_t tag) {
  for (const TagEntry& entry : list)
    if (entry.tag == tag) return &entry;
  return nullptr;
}

inline std::vector<uint8_t> EntryBytes(const TagEntry& entry) {
  return std::vector<uint8_t>(entry.Data(), entry.Data() + entry.ValueSize());
}

// A document's pending edits are the list's entries, in order, set on the given table.
inline void ExpectQueued(const ExifDocument* document, const TagList& list, uint32_t kind) {
  ASSERT_EQ(document->pending.size(), list.size());
  auto expected = list.begin();
  for (const PendingEdit& edit : document->pending) {
    EXPECT_EQ(edit.op, uint32_t(PendingSet));
    EXPECT_EQ(edit.kind, kind);
    EXPECT_EQ(edit.tag, expected->tag);
    EXPECT_EQ(edit.type, expected->type);
    EXPECT_EQ(edit.count, expected->count);
    EXPECT_EQ(edit.value, EntryBytes(*expected));
    ++expected;
  }
}

}  // namespace shootingtest
