// Dialog 133 "撮影データ埋め込み(１件)": one frame of a data file into one file, saved where the
// user chooses. Controls: 1036 maker, 1037 camera, 1023 data type, 1044 data file with its
// choose button 1001, 1045 frames, 1043 preview of the chosen frame, 1 OK, 2 cancel.
#pragma once

#include <QWidget>
#include <string>

// Returns 1 when the frame was written; `written` then holds the chosen path.
int ShowEmbedDialog(QWidget* owner, const std::string& path, std::string* written);
