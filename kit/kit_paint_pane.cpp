#include "kit/kit_paint_pane.h"

#include <QMouseEvent>
#include <QPainter>

#include "kit/kit_text.h"

PaintPane::PaintPane(QWidget* parent, const QSize& size, const QString& objectName)
    : QWidget(parent), brush_(palette().color(QPalette::Window)) {
  setObjectName(objectName);
  setFont(KitFont());
  setFixedSize(size);
  SetSize(size);
}

void PaintPane::Clear() {
  surface_.fill(brush_);
  update();
}

void PaintPane::SetSize(const QSize& size) {
  surface_ = QImage(size, QImage::Format_RGB32);
  Clear();
}

void PaintPane::ShowText(const QString& text) {
  Clear();
  QPainter painter(&surface_);
  painter.setFont(KitFont());
  painter.drawText(surface_.rect(), Qt::AlignCenter | Qt::TextWordWrap, text);
  update();
}

bool PaintPane::ShowRaster(const uint8_t* bgrBottomUp, int width, int height) {
  const QImage picture = PaintPaneWrapRaster(bgrBottomUp, width, height);
  if (picture.isNull()) return false;
  ShowImage(picture);
  return true;
}

void PaintPane::ShowNoPicture() {
  Clear();
  QPainter painter(&surface_);
  painter.setPen(QColor(0xA0, 0xA0, 0xA0));
  const QRect frame = surface_.rect().adjusted(4, 4, -5, -5);
  painter.drawRect(frame);
  painter.drawLine(frame.topLeft(), frame.bottomRight());
  painter.drawLine(frame.topRight(), frame.bottomLeft());
  update();
}

void PaintPane::ShowImage(const QImage& picture) {
  Clear();
  const QImage fitted = picture.scaled(surface_.size(), Qt::KeepAspectRatio, Qt::SmoothTransformation);
  QPainter painter(&surface_);
  painter.drawImage((surface_.width() - fitted.width()) / 2, (surface_.height() - fitted.height()) / 2, fitted);
  update();
}

void PaintPane::paintEvent(QPaintEvent* event) {
  QPainter painter(this);
  painter.drawImage(event->rect(), surface_, event->rect());
}

void PaintPane::mousePressEvent(QMouseEvent* event) {
  if (event->button() == Qt::LeftButton && mouse_) mouse_(event->position().toPoint());
}

QImage PaintPaneWrapRaster(const uint8_t* bgrBottomUp, int width, int height) {
  if (!bgrBottomUp || width <= 0 || height <= 0) return {};
  const qsizetype stride = (qsizetype(width) * 3 + 3) & ~qsizetype(3);
  // The rows stand bottom-up; the image wants them top-down, so mirror after the wrap.
  const QImage wrapped(bgrBottomUp, width, height, stride, QImage::Format_BGR888);
  return wrapped.mirrored(false, true);
}
