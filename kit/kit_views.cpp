#include "kit/kit_views.h"

#include <QHeaderView>
#include <QScrollBar>

#include "kit/kit_text.h"

namespace {

constexpr int kDataRole = Qt::UserRole;

QTreeWidget* ViewCreate(QWidget* parent, const QString& objectName) {
  auto* view = new QTreeWidget(parent);  // owned by its parent
  view->setObjectName(objectName);
  view->setFont(KitFont());
  view->setUniformRowHeights(true);
  view->setSelectionMode(QAbstractItemView::SingleSelection);
  return view;
}

}  // namespace

QTreeWidget* ListViewCreate(QWidget* parent, const QString& objectName) {
  QTreeWidget* view = ViewCreate(parent, objectName);
  view->setRootIsDecorated(false);
  view->setItemsExpandable(false);
  view->setAllColumnsShowFocus(true);
  view->setSelectionBehavior(QAbstractItemView::SelectRows);
  view->setColumnCount(0);
  view->header()->setStretchLastSection(false);
  view->setIconSize(QSize(16, 16));
  return view;
}

void ListViewInsertColumn(QTreeWidget* view, int index, const QString& title, int width) {
  const int count = view->columnCount();
  QStringList titles;
  for (int i = 0; i < count; ++i) titles << view->headerItem()->text(i);
  titles.insert(std::min(index, count), title);
  view->setColumnCount(count + 1);
  view->setHeaderLabels(titles);
  ListViewSetColumnWidth(view, index, width);
}

int ListViewColumnWidth(const QTreeWidget* view, int column) {
  return view->isColumnHidden(column) ? 0 : view->columnWidth(column);
}

void ListViewSetColumnWidth(QTreeWidget* view, int column, int width) {
  view->setColumnHidden(column, width <= 0);
  if (width > 0) view->setColumnWidth(column, width);
}

int ListViewInsertRow(QTreeWidget* view, int index, const QString& text, const QIcon& image, intptr_t data) {
  auto* item = new QTreeWidgetItem();  // owned by the view once inserted
  item->setText(0, text);
  if (!image.isNull()) item->setIcon(0, image);
  item->setData(0, kDataRole, QVariant::fromValue<qlonglong>(data));
  const int count = view->topLevelItemCount();
  const int at = index < 0 || index > count ? count : index;
  view->insertTopLevelItem(at, item);
  return at;
}

void ListViewSetCell(QTreeWidget* view, int row, int column, const QString& text) {
  if (QTreeWidgetItem* item = view->topLevelItem(row)) item->setText(column, text);
}

QString ListViewCell(const QTreeWidget* view, int row, int column) {
  const QTreeWidgetItem* item = view->topLevelItem(row);
  return item ? item->text(column) : QString();
}

intptr_t ListViewRowData(const QTreeWidget* view, int row) {
  const QTreeWidgetItem* item = view->topLevelItem(row);
  return item ? intptr_t(item->data(0, kDataRole).toLongLong()) : 0;
}

void ListViewDeleteRow(QTreeWidget* view, int row) { delete view->takeTopLevelItem(row); }

void ListViewDeleteAll(QTreeWidget* view) { view->clear(); }

int ListViewRowCount(const QTreeWidget* view) { return view->topLevelItemCount(); }

int ListViewNextSelected(const QTreeWidget* view) {
  const QList<QTreeWidgetItem*> selected = view->selectedItems();
  return selected.isEmpty() ? -1 : view->indexOfTopLevelItem(selected.first());
}

void ListViewSelect(QTreeWidget* view, int row) {
  if (row < 0) {
    view->clearSelection();
    return;
  }
  if (QTreeWidgetItem* item = view->topLevelItem(row)) {
    view->setCurrentItem(item);
    item->setSelected(true);
  }
}

int ListViewTopRow(const QTreeWidget* view) {
  const QTreeWidgetItem* item = view->itemAt(0, 0);
  return item ? view->indexOfTopLevelItem(const_cast<QTreeWidgetItem*>(item)) : 0;
}

int ListViewRowsPerPage(const QTreeWidget* view) {
  const QTreeWidgetItem* first = view->topLevelItem(0);
  const int height = first ? view->visualItemRect(first).height() : 0;
  return height > 0 ? view->viewport()->height() / height - 1 : 0;
}

void ListViewEnsureVisible(QTreeWidget* view, int row) {
  const int count = view->topLevelItemCount();
  if (count == 0) return;
  view->scrollToItem(view->topLevelItem(std::min(row, count - 1)));
}

void ListViewScrollToTop(QTreeWidget* view, int row) {
  if (QTreeWidgetItem* item = view->topLevelItem(row)) view->scrollToItem(item, QAbstractItemView::PositionAtTop);
}

int ListViewFind(const QTreeWidget* view, const QString& text) {
  for (int row = 0; row < view->topLevelItemCount(); ++row)
    if (view->topLevelItem(row)->text(0) == text) return row;
  return -1;
}

QTreeWidget* TreeViewCreate(QWidget* parent, const QString& objectName) {
  QTreeWidget* view = ViewCreate(parent, objectName);
  view->setHeaderHidden(true);
  view->setColumnCount(1);
  return view;
}

QTreeWidgetItem* TreeViewInsert(QTreeWidget* view, QTreeWidgetItem* parent, const QString& text, intptr_t data) {
  auto* item = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(view);  // owned by parent or view
  item->setText(0, text);
  item->setData(0, kDataRole, QVariant::fromValue<qlonglong>(data));
  return item;
}

QTreeWidgetItem* TreeViewSelected(const QTreeWidget* view) { return view->currentItem(); }

QTreeWidgetItem* TreeViewFirstChild(const QTreeWidget* view, QTreeWidgetItem* node) {
  if (!node) return view->topLevelItem(0);
  return node->childCount() ? node->child(0) : nullptr;
}

QTreeWidgetItem* TreeViewNextSibling(const QTreeWidget* view, QTreeWidgetItem* node) {
  if (!node) return nullptr;
  QTreeWidgetItem* parent = node->parent();
  if (!parent) {
    const int index = view->indexOfTopLevelItem(node);
    return view->topLevelItem(index + 1);
  }
  const int index = parent->indexOfChild(node);
  return index + 1 < parent->childCount() ? parent->child(index + 1) : nullptr;
}

intptr_t TreeViewData(const QTreeWidgetItem* node) {
  return node ? intptr_t(node->data(0, kDataRole).toLongLong()) : 0;
}

QString TreeViewText(const QTreeWidgetItem* node) { return node ? node->text(0) : QString(); }

void TreeViewDeleteAll(QTreeWidget* view) { view->clear(); }

void TreeViewExpand(QTreeWidgetItem* node) {
  if (node) node->setExpanded(true);
}
