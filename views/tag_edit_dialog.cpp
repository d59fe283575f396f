#include "views/tag_edit_dialog.h"

#include <QComboBox>
#include <QDialog>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <cstdio>

#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/tag_parse.h"
#include "frame/message_table.h"
#include "frame/settings.h"
#include "frame/version.h"
#include "kit/kit_dialogs.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "views/exif_list_rows.h"

namespace {


// The hint after message 7 for a value that does not parse, by type.
struct TypeHint {
  uint16_t type;
  uint32_t first;
  uint32_t second;  // 0 for none
};
constexpr TypeHint kTypeHints[] = {
    {TypeByte, MsgHintBytes, 0},
    {TypeUndefined, MsgHintBytes, 0},
    {TypeSignedByte, MsgHintBytes, 0},
    {TypeAscii, MsgHintAscii, 0},
    {TypeShort, MsgHintLines, MsgHintShort},
    {TypeLong, MsgHintLines, MsgHintLong},
    {TypeRational, MsgHintLines, MsgHintRational},
    {TypeSShort, MsgHintLines, MsgHintSShort},
    {TypeSLong, MsgHintLines, MsgHintSLong},
    {TypeSRational, MsgHintLines, MsgHintSRational},
};

std::string ValueHint(uint16_t type) {
  std::string text = MessageText(MsgInputError);
  for (const TypeHint& hint : kTypeHints) {
    if (hint.type != type) continue;
    text += "\n\n";
    text += MessageText(hint.first);
    if (hint.second) text += std::string("\n") + MessageText(hint.second);
  }
  return text;
}

// The tag field's number: cut at the first colon, blanks cut from the end, then hexadecimal
// after "0x" or decimal, at most 16 bits. -1 when invalid.
int TagFieldNumber(const QString& field) {
  QString text = field.section(':', 0, 0);
  while (text.endsWith(' ')) text.chop(1);
  bool ok = false;
  const uint value = text.startsWith("0x", Qt::CaseInsensitive) ? text.mid(2).toUInt(&ok, 16) : text.toUInt(&ok, 10);
  return ok && value <= 0xFFFF ? int(value) : -1;
}

bool TagExists(ExifDocument* document, uint32_t kind, uint16_t tag) {
  return ExifListFindTag(document, kind, tag, nullptr);
}

class TagEditForm : public QDialog {
 public:
  TagEditForm(QWidget* owner, ExifDocument* document, const TagEntry* entry, uint32_t entryKind)
      : QDialog(owner), document_(document), entry_(entry) {
    setObjectName("EXIF編集");
    setWindowTitle(QString::fromUtf8("EXIF編集"));
    setFont(KitFont());
    tagExtend_ = SettingsGetInt("OPTION", "TAGEXTEND", 0) == 1;
    Build();
    FillTables(entryKind);
    FillTypes();
    if (entry_) ShowEntry(entryKind);
  }

  TagEntry result;
  uint32_t resultKind = 0;

 private:
  void Build() {
    auto* form = new QFormLayout(this);  // owned by the dialog, as every control below
    table_ = Add<QComboBox>("1023");
    tag_ = Add<QComboBox>("1024");
    tag_->setEditable(true);
    tag_->lineEdit()->setObjectName("1024edit");
    type_ = Add<QComboBox>("1025");
    value_ = Add<QPlainTextEdit>("1042");
    auto* hiddenInfo = Add<QLineEdit>("1043");
    hiddenInfo->setReadOnly(true);
    hiddenInfo->hide();
    auto* update = Add<QPushButton>("1");
    update->setText(QString::fromUtf8("更新"));
    update->setDefault(true);
    auto* cancel = Add<QPushButton>("2");
    cancel->setText(QString::fromUtf8("ｷｬﾝｾﾙ"));
    auto* remove = Add<QPushButton>("1052");
    remove->setText(QString::fromUtf8("タグ削除"));
    remove->hide();
    form->addRow("IFD", table_);
    form->addRow("TAG", tag_);
    form->addRow("TYPE", type_);
    form->addRow(value_);
    auto* buttons = new QHBoxLayout();
    buttons->addStretch();
    buttons->addWidget(update);
    buttons->addWidget(cancel);
    form->addRow(buttons);
    connect(table_, &QComboBox::currentIndexChanged, this, [this] { FillTags(); });
    connect(tag_, &QComboBox::activated, this, [this](int row) { ChooseTypeOfRow(row); });
    connect(update, &QPushButton::clicked, this, [this] { Update(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    resize(420, 320);
  }

  template <class Control>
  Control* Add(const char* number) {
    auto* control = new Control(this);
    control->setObjectName(number);
    return control;
  }

  void FillTables(uint32_t entryKind) {
    for (const IfdName& row : IfdDisplayNameTable())
      if (row.kind < 257) table_->addItem(KitText(IfdDisplayName(uint32_t(row.kind))), row.kind);
    const uint32_t family = ExifMakerNoteFamily(document_);
    if (!(entry_ || family == FamilyNikon)) return;
    for (const MakerNoteTableName& name : ExifMakerNoteTables(document_))
      table_->addItem(KitText(name.name), qlonglong(family | name.table));
    if (entry_) table_->setCurrentIndex(table_->findData(qlonglong(entryKind)));
  }

  void FillTypes() {
    for (uint16_t type = TypeByte; type <= TypeSRational; ++type) type_->addItem(KitText(ExifTypeName(type)), type);
    type_->setCurrentIndex(-1);
  }

  uint32_t TableKind() const { return uint32_t(table_->currentData().toLongLong()); }

  void FillTags() {
    tag_->clear();
    const TagDefinition* rows = TagCatalogueTable(document_, TableKind());
    for (uint32_t i = 0; i < TagCatalogueCount(rows); ++i) {
      const TagDefinition& row = rows[i];
      if (!tagExtend_ && row.tag >= 62977 && row.tag <= 63008) continue;
      char head[16];
      std::snprintf(head, sizeof head, "0x%04X : ", row.tag);
      tag_->addItem(QString::fromLatin1(head) + KitText(TagRowDisplayName(&row)), row.type);
    }
    tag_->setCurrentIndex(-1);
  }

  void ChooseTypeOfRow(int row) {
    const int type = tag_->itemData(row).toInt();
    if (type > 0) type_->setCurrentIndex(type_->findData(type));
  }

  void ShowEntry(uint32_t kind) {
    char head[16];
    std::snprintf(head, sizeof head, "0x%04X : ", entry_->tag);
    tag_->setEditText(QString::fromLatin1(head) + KitText(TagDisplayName(document_, kind, entry_->tag)));
    type_->setCurrentIndex(type_->findData(entry_->type));
    table_->setEnabled(false);
    tag_->setEnabled(false);
    type_->setEnabled(false);
    value_->setPlainText(KitText(TagEditValueText(*entry_)).replace("\r\n", "\n"));
    value_->setFocus();
    value_->selectAll();
  }

  void Refuse(uint32_t message, uint32_t title, QWidget* focus, const char* text = nullptr) {
    KitMessageBox(this, message, title, PromptButtonsOk, PromptIconWarning, text);
    if (focus) focus->setFocus();
  }

  void Update() {
    if (table_->currentIndex() < 0) return Refuse(MsgBadIfd, MsgTitleInput, table_);
    const int tag = entry_ ? int(entry_->tag) : TagFieldNumber(tag_->currentText());
    if (tag < 0) return Refuse(MsgBadTag, MsgTitleInput, tag_);
    if (type_->currentIndex() < 0) return Refuse(MsgBadType, MsgTitleInput, type_);
    const uint32_t kind = TableKind();
    const uint16_t type = uint16_t(type_->currentData().toInt());
    if (!TagIsEditable(document_, kind, uint16_t(tag))) return Refuse(MsgTagNotEditable, MsgTitleInput, nullptr);
    if (!entry_ && TagExists(document_, kind, uint16_t(tag)) &&
        KitMessageBox(this, MsgTagExists, MsgTitleProduct, PromptButtonsYesNo, PromptIconQuestion) != PromptAnswerYes)
      return;
    const std::string text = KitCp932(value_->toPlainText().replace("\n", "\r\n"));
    std::vector<uint8_t> values;
    const int count = ParseTypedValues(type, text.data(), uint32_t(text.size()), "\r\n", &values);
    if (count == -2) return Refuse(MsgNoMemory, MsgTitleError, nullptr);
    if (count <= 0) {
      const std::string hint = ValueHint(type);
      return Refuse(MsgInputError, MsgTitleInput, value_, hint.c_str());
    }
    result.tag = uint16_t(tag);
    result.type = entry_ ? entry_->type : type;
    result.sourceWord = entry_ ? entry_->sourceWord : 0;
    result.count = uint32_t(count);
    result.value = std::move(values);
    result.value.resize(result.value.size() + 4, 0);
    resultKind = kind;
    accept();
  }

  ExifDocument* document_;
  const TagEntry* entry_;
  bool tagExtend_ = false;
  QComboBox* table_ = nullptr;
  QComboBox* tag_ = nullptr;
  QComboBox* type_ = nullptr;
  QPlainTextEdit* value_ = nullptr;
};

// The notice of message 2, once per version.
void TagEditNotice(QWidget* owner) {
  if (SettingsGetText("FLAG", "MSGOK3", "") == kTavexonVersion) return;
  if (NoticeDialog(owner, KitMessage(MsgMakerNoteNotice))) SettingsPutString("FLAG", "MSGOK3", kTavexonVersion);
}

}  // namespace

std::string TagEditValueText(const TagEntry& entry) {
  std::string text;
  char item[32];
  const uint32_t size = entry.ValueSize();
  switch (entry.type) {
    case TypeAscii: return std::string(reinterpret_cast<const char*>(entry.Data()), strnlen(reinterpret_cast<const char*>(entry.Data()), size));
    case TypeShort:
      for (uint32_t i = 0; i < size / 2; ++i) text += std::to_string(entry.U16(i)) + "\r\n";
      return text;
    case TypeLong:
      for (uint32_t i = 0; i < size / 4; ++i) text += std::to_string(entry.U32(i)) + "\r\n";
      return text;
    case TypeSShort:
      for (uint32_t i = 0; i < size / 2; ++i) text += std::to_string(entry.S16(i)) + "\r\n";
      return text;
    case TypeSLong:
      for (uint32_t i = 0; i < size / 4; ++i) text += std::to_string(entry.S32(i)) + "\r\n";
      return text;
    case TypeRational:
      for (uint32_t i = 0; i + 1 < size / 4; i += 2)
        text += std::to_string(entry.U32(i)) + "/" + std::to_string(entry.U32(i + 1)) + "\r\n";
      return text;
    case TypeSRational:
      for (uint32_t i = 0; i + 1 < size / 4; i += 2)
        text += std::to_string(entry.S32(i)) + "/" + std::to_string(entry.S32(i + 1)) + "\r\n";
      return text;
    default:
      for (uint32_t i = 0; i < size; ++i) {
        std::snprintf(item, sizeof item, "%02X ", entry.Data()[i]);
        text += item;
        if (i % 8 == 7) text += "\r\n";
      }
      return text;
  }
}

int TagEditDialog(QWidget* owner, ExifDocument* document, const TagEntry* entry, uint32_t entryKind,
                  TagEntry* newEntry, uint32_t* kind) {
  TagEditNotice(owner);
  TagEditForm form(owner, document, entry, entryKind);
  CentreOnOwner(&form);
  if (form.exec() != QDialog::Accepted) return 0;
  if (newEntry) *newEntry = std::move(form.result);
  if (kind) *kind = form.resultKind;
  return 1;
}
