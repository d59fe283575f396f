#include "makernote/makernote_unread.h"

#include "makernote/makernote_recognise.h"

namespace {

constexpr MakerNoteTableName kCanonTables[] = {{257, "Canon MakerNote"}};
constexpr MakerNoteTableName kPentaxTables[] = {{257, "Pentax MakerNote"}};
constexpr MakerNoteTableName kSonyTables[] = {{257, "Sony MakerNote Main IFD"}, {258, "Sony MakerNote Sub IFD"}};
constexpr MakerNoteTableName kFujifilmTables[] = {{257, "FUJIFILM MakerNote"}};
constexpr MakerNoteTableName kPanasonicTables[] = {{257, "Panasonic MakerNote"}};
constexpr MakerNoteTableName kCasioTables[] = {{257, "CASIO MakerNote"}};

// The pointers each handler keeps itself; Canon, Fujifilm and Panasonic have none.
constexpr MakerNoteProtectedTag kPentaxProtected[] = {{257, 3}, {257, 4}};
constexpr MakerNoteProtectedTag kSonyProtected[] = {{257, 45096}};
constexpr MakerNoteProtectedTag kCasioProtected[] = {{257, 3}, {257, 4}, {257, 8192}};

}  // namespace

const MakerNoteDescriptor kCanonNote{
    .family = FamilyCanon, .displayName = "Canon", .recognise = MakerNoteRecogniseCanon, .tables = kCanonTables, .protectedTags = {}};
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
const MakerNoteDescriptor kFujifilmNote{.family = FamilyFujifilm,
                                        .displayName = "FUJFILM",
                                        .recognise = MakerNoteRecogniseFujifilm,
                                        .tables = kFujifilmTables,
                                        .protectedTags = {}};
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
