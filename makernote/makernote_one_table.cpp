#include "makernote/makernote_one_table.h"

#include "frame/error_stack.h"
#include "makernote/makernote_tables.h"

namespace {

MakerNoteOneTableContext* OneTable(MakerNoteContext* context) {
  return dynamic_cast<MakerNoteOneTableContext*>(context);
}

}  // namespace

IfdTable* MakerNoteOneTableTable(MakerNoteContext* context, uint32_t table) {
  MakerNoteOneTableContext* one = OneTable(context);
  return one != nullptr && (table & 0xFFFFu) == kMakerNoteMainTable ? &one->main : nullptr;
}

int MakerNoteOneTablePutTag(MakerNoteContext* context, uint32_t table, uint16_t tag, uint16_t type, uint32_t count,
                            const void* value) {
  IfdTable* main = MakerNoteOneTableTable(context, table);
  if (main == nullptr) return ErrorPush(ErrInvalidArgument), 0;
  if (!TagListPut(context, &main->tags, tag, type, count, 0, value)) return 0;
  main->entryCount = uint16_t(main->tags.size());
  return 1;
}

int MakerNoteOneTableDeleteTag(MakerNoteContext* context, uint32_t table, uint16_t tag) {
  IfdTable* main = MakerNoteOneTableTable(context, table);
  if (main == nullptr || !TagListRemove(&main->tags, tag)) return 0;
  if (main->entryCount > 0) --main->entryCount;
  return 1;
}

intptr_t MakerNoteOneTableControl(MakerNoteContext* context, uint32_t family, uint32_t code, intptr_t first,
                                  intptr_t second) {
  MakerNoteOneTableContext* one = OneTable(context);
  if (one == nullptr) return 0;
  switch (code) {
    case MnByteOrder: return one->bigEndian;
    case MnTableNames: return reinterpret_cast<intptr_t>(MakerNoteTableNames(family));
    case MnIsEditable: return one->editable;
    case MnNeedsRebuild: return family == FamilyPentax ? one->needsRebuild : 0;
    case MnTagCount: return one->main.entryCount;
    case MnTagEditable: return MakerNoteTagEditable(family, uint32_t(first), uint16_t(second));
    default: return 0;
  }
}
