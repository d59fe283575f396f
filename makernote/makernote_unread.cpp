#include "makernote/makernote_unread.h"

#include "makernote/makernote_recognise.h"

namespace {

constexpr MakerNoteTableName kPentaxTables[] = {{257, "Pentax MakerNote"}};
constexpr MakerNoteTableName kSonyTables[] = {{257, "Sony MakerNote Main IFD"}, {258, "Sony MakerNote Sub IFD"}};
constexpr MakerNoteTableName kPanasonicTables[] = {{257, "Panasonic MakerNote"}};
constexpr MakerNoteTableName kCasioTables[] = {{257, "CASIO MakerNote"}};
constexpr MakerNoteTableName kOlympusTables[] = {
    {257, "OLYMPUS MakerNote Main IFD"}, {258, "OLYMPUS MakerNote Sub IFD1"}, {259, "OLYMPUS MakerNote Sub IFD2"},
    {260, "OLYMPUS MakerNote Sub IFD3"}, {261, "OLYMPUS MakerNote Sub IFD4"}, {262, "OLYMPUS MakerNote Sub IFD5"},
};

// The pointers each handler keeps itself; Canon, Fujifilm and Panasonic have none.
constexpr MakerNoteProtectedTag kPentaxProtected[] = {{257, 3}, {257, 4}};
constexpr MakerNoteProtectedTag kSonyProtected[] = {{257, 45096}};
constexpr MakerNoteProtectedTag kCasioProtected[] = {{257, 3}, {257, 4}, {257, 8192}};
constexpr MakerNoteProtectedTag kOlympusProtected[] = {
    {257, 8208}, {257, 8224}, {257, 8240}, {257, 8256}, {257, 8272}};

}  // namespace

const MakerNoteDescriptor kPentaxNote{.family = FamilyPentax,
                                      .displayName = "Pentax",
                                      .recognise = MakerNoteRecognisePentax,
                                      .tables = kPentaxTables,
                                      .protectedTags = kPentaxProtected};
const MakerNoteDescriptor kSonyNote{.family = FamilySony,
                                    .displayName = "SONY",
                                    .recognise = MakerNoteRecogniseSony,
                                    .tables = kSonyTables,
                                    .protectedTags = kSonyProtected};
const MakerNoteDescriptor kPanasonicNote{.family = FamilyPanasonic,
                                         .displayName = "Panasonic",
                                         .recognise = MakerNoteRecognisePanasonic,
                                         .tables = kPanasonicTables,
                                         .protectedTags = {}};
const MakerNoteDescriptor kCasioNote{.family = FamilyCasio,
                                     .displayName = "CASIO",
                                     .recognise = MakerNoteRecogniseCasio,
                                     .tables = kCasioTables,
                                     .protectedTags = kCasioProtected};
const MakerNoteDescriptor kOlympusNote{.family = FamilyOlympus,
                                       .displayName = "OLYMUPS",
                                       .recognise = MakerNoteRecogniseOlympus,
                                       .tables = kOlympusTables,
                                       .protectedTags = kOlympusProtected};
