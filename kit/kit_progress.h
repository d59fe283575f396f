// The desktop's progress hook for long loops that run on the window's thread.
//
// Between files the loop calls the hook: it puts the file's name on the label, processes the
// pending events (so the window repaints and stays responsive), and answers false once Esc or
// the stop button was pressed, so the loop ends after the file in hand.
#pragma once

#include <QLabel>
#include <QObject>
#include <QPointer>

#include "frame/progress.h"

class KitRun : public QObject {
  Q_OBJECT

 public:
  // A run reporting on label (may be none); Esc anywhere in the program stops it.
  explicit KitRun(QLabel* label);
  ~KitRun() override;
  KitRun(const KitRun&) = delete;
  KitRun& operator=(const KitRun&) = delete;

  // The hook to pass to the loop.
  const Progress* Hook() const { return &hook_; }
  // The run's word: 1 running, 2 stop asked.
  const RunFlag& Flag() const { return flag_; }
  bool Running() const { return flag_.load() == 1; }

 public slots:
  void Stop();

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  static bool Step(void* user, const std::string& path, std::size_t index, std::size_t count);

  RunFlag flag_{1};
  QPointer<QLabel> label_;
  Progress hook_;
};
