// The main of the desktop test programs: one QApplication on the offscreen platform (unless
// the caller chose another, say xvfb), then every test.
#include <QApplication>
#include <cstdlib>
#include <gtest/gtest.h>

#include "shooting/engine_install.h"

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  EngineInstall();
  return RUN_ALL_TESTS();
}
