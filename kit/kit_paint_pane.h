// A paint pane: a child widget with an off-screen image of its size. Drawing goes to the image;
// painting copies it to the screen. Pictures arrive as the core's RasterImage bytes (blue,
// green, red, rows bottom-up, each row padded to 4) wrapped at this edge.
#pragma once

#include <QImage>
#include <QWidget>
#include <cstdint>
#include <functional>

class PaintPane : public QWidget {
  Q_OBJECT

 public:
  PaintPane(QWidget* parent, const QSize& size, const QString& objectName);

  // Called with the position of a left click.
  void SetMouseHandler(std::function<void(const QPoint&)> handler) { mouse_ = std::move(handler); }
  void SetBrush(const QColor& colour) { brush_ = colour; }
  // Fills the image with the brush.
  void Clear();
  // The image to draw into; RepaintAll shows it.
  QImage& Surface() { return surface_; }
  // A new image at the new size, cleared.
  void SetSize(const QSize& size);
  void RepaintAll() { update(); }
  // Draws a message text centred (the pane's "no picture" state and the like).
  void ShowText(const QString& text);
  // Draws a picture scaled to fit, centred.
  void ShowImage(const QImage& picture);
  // The mark of a picture that cannot be shown yet: a frame with its diagonals.
  void ShowNoPicture();
  // Draws a RasterImage scaled to fit, centred. Returns false when the bytes are inconsistent.
  bool ShowRaster(const uint8_t* bgrBottomUp, int width, int height);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;

 private:
  QImage surface_;
  QColor brush_;
  std::function<void(const QPoint&)> mouse_;
};

// A RasterImage as a QImage (copied), for display.
QImage PaintPaneWrapRaster(const uint8_t* bgrBottomUp, int width, int height);
