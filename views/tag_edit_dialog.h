// The tag edit dialog "EXIF編集": one tag added or changed by typed text. It never touches the
// document: it hands back a new entry and its table, and the caller queues the edit.
//
// Controls by number: 1023 table, 1024 tag (with an edit field), 1025 type, 1042 value,
// 1 "更新", 2 "ｷｬﾝｾﾙ"; 1052 "タグ削除" and 1043 exist hidden.
#pragma once

#include <QWidget>
#include <cstdint>
#include <string>

#include "exif/exif_document.h"

// The value text the dialog shows for an entry: bytes "%02X " with a line end after every 8,
// ASCII as it stands, one number (or numerator/denominator) a line. CP932.
std::string TagEditValueText(const TagEntry& entry);

// Adds (entry nullptr) or changes (entry and its kind given) one tag. Returns 1 when "更新"
// was accepted, with newEntry and kind filled.
int TagEditDialog(QWidget* owner, ExifDocument* document, const TagEntry* entry, uint32_t entryKind,
                  TagEntry* newEntry, uint32_t* kind);
