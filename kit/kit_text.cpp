#include "kit/kit_text.h"

#include <QFontDatabase>
#include <QStringList>

#include "frame/cp932.h"
#include "frame/message_table.h"

QString KitText(const char* cp932) { return cp932 ? QString::fromStdString(Utf8FromCp932(cp932)) : QString(); }

QString KitText(const std::string& cp932) { return QString::fromStdString(Utf8FromCp932(cp932)); }

QString KitMessage(uint32_t id) { return KitText(MessageText(id)); }

std::string KitCp932(const QString& text, bool* ok) { return Cp932FromUtf8(text.toStdString(), ok); }

QString KitPathText(const std::string& path) { return QString::fromStdString(path); }

std::string KitPath(const QString& path) { return path.toStdString(); }

QFont KitFont() {
  // The faces in the order they are wanted; the first one installed wins.
  static const char* const kFaces[] = {"ＭＳ ゴシック", "MS Gothic", "Noto Sans CJK JP", "IPAGothic", "IPAexGothic"};
  static const QFont font = [] {
    const QStringList installed = QFontDatabase::families();
    QFont chosen;
    for (const char* face : kFaces) {
      if (installed.contains(QString::fromUtf8(face), Qt::CaseInsensitive)) {
        chosen = QFont(QString::fromUtf8(face));
        break;
      }
    }
    chosen.setPixelSize(12);
    chosen.setWeight(QFont::Normal);
    return chosen;
  }();
  return font;
}
