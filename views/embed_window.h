// The shooting data embed window (tool window 0): a roll's data file, its type and the folder
// of its scans; the run button writes each frame into its file through the embed engine. The
// run reports through the progress hook, so the window repaints and Esc or "中止" ends it after
// the file in hand.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <string>

#include "kit/tool_window.h"

class KitRun;

class EmbedWindow : public ToolWindow {
  Q_OBJECT

 public:
  EmbedWindow();
  ~EmbedWindow() override;

  // The run button. Returns EmbedRun's result.
  int Run();
  // Asks a running run to stop after the file in hand.
  void Stop();

 protected:
  void showEvent(QShowEvent* event) override;
  bool ToolMayClose() override;

 private:
  QWidget* BuildBasic();
  QWidget* BuildOptions();
  QWidget* BuildFiles();
  void LoadHistories();
  void ApplyOptions();
  void PrivateTagsToggled(bool ticked);
  void SoftwareToggled(bool ticked);
  void SetRunning(bool running);

  QComboBox* maker_ = nullptr;
  QComboBox* camera_ = nullptr;
  QComboBox* film_ = nullptr;
  QLabel* filmLabel_ = nullptr;
  QComboBox* dataType_ = nullptr;
  QCheckBox* privateTags_ = nullptr;
  QCheckBox* software_ = nullptr;
  QLineEdit* dataFile_ = nullptr;
  QLineEdit* jpegPath_ = nullptr;
  QPushButton* run_ = nullptr;
  QPushButton* stop_ = nullptr;
  QLabel* progress_ = nullptr;
  QWidget* inputs_ = nullptr;
  KitRun* activeRun_ = nullptr;
  bool noticeShown_ = false;
};

ToolWindow* EmbedWindowCreate(const std::string& path);
