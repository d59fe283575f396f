#include "app/app_init.h"

#include <QApplication>

#include "codec/thumbnail.h"
#include "frame/app_start.h"
#include "frame/message_table.h"
#include "frame/settings.h"
#include "kit/kit_picture.h"
#include "kit/kit_prompt.h"
#include "kit/kit_text.h"
#include "kit/tool_window.h"
#include "shooting/engine_install.h"
#include "views/embed_window.h"
#include "views/exif_list_window.h"
#include "views/picture_source.h"
#include "views/viewer_window.h"

namespace {

// The licence terms are agreed once per settings file; the key keeps the agreement.
constexpr char kLicenceSection[] = "FLAG";
constexpr char kLicenceKey[] = "LICENSE";

bool AppLicenceAccepted() {
  if (SettingsGetInt(kLicenceSection, kLicenceKey, 0) == 1) return true;
  if (KitMessageBox(nullptr, MsgLicence, MsgTitleProduct, PromptButtonsYesNo, PromptIconQuestion) != PromptAnswerYes)
    return false;
  SettingsPutUInt(kLicenceSection, kLicenceKey, 1);
  return true;
}

}  // namespace

void AppRegisterToolWindows() {
  ToolWindowRegister(kToolEmbed, EmbedWindowCreate);
  ToolWindowRegister(kToolExifList, ExifListWindowCreate);
  ToolWindowRegister(kToolImageViewer, ViewerWindowCreate);
}

bool AppInit(const std::string& commandLine) {
  static bool engineInstalled = false;
  if (!engineInstalled) {
    EngineInstall();
    CodecInstall();  // a scan without Exif gains a thumbnail made by the codec
    PictureDecoderInstall(KitDecodeJpeg);
  }
  engineInstalled = true;
  AppRegisterToolWindows();
  QApplication::setFont(KitFont());
  QApplication::setQuitOnLastWindowClosed(false);  // the tool table ends the loop
  SettingsFilePath();
  if (!AppLicenceAccepted()) return false;
  const int firstView = SettingsGetInt("OPTION", "FIRSTVIEW", 0);
  const AppFirstViewDecision first = AppDecideFirstView(firstView, AppCommandLinePath(commandLine));
  if (OpenToolWindow(first.kind, first.path)) return true;
  // A kind whose window this build does not have yet opens the main window with the path.
  return ToolWindowOf(first.kind) || OpenToolWindow(kToolImageViewer, first.path) != nullptr;
}
