// List views and tree views by operation: what the tool windows ask of them, so that a window
// speaks of rows and nodes, not of the widget underneath.
//
// A list view is a QTreeWidget without a tree: rows of cells, an optional image per row, and a
// number of the caller's per row. A tree view is a QTreeWidget with nodes. Both are owned by
// their parent widget, as every Qt child.
#pragma once

#include <QIcon>
#include <QString>
#include <QTreeWidget>
#include <cstdint>

// --- list view ---------------------------------------------------------------------------

// A report-style list with full-row selection, one selected row at a time.
QTreeWidget* ListViewCreate(QWidget* parent, const QString& objectName);
void ListViewInsertColumn(QTreeWidget* view, int index, const QString& title, int width);
int ListViewColumnWidth(const QTreeWidget* view, int column);
void ListViewSetColumnWidth(QTreeWidget* view, int column, int width);
// Inserts a row at index (-1 or past the end: at the end) with the first cell's text, an image
// (may be null) and the caller's number. Returns the row's index.
int ListViewInsertRow(QTreeWidget* view, int index, const QString& text, const QIcon& image, intptr_t data);
void ListViewSetCell(QTreeWidget* view, int row, int column, const QString& text);
QString ListViewCell(const QTreeWidget* view, int row, int column);
intptr_t ListViewRowData(const QTreeWidget* view, int row);
void ListViewDeleteRow(QTreeWidget* view, int row);
void ListViewDeleteAll(QTreeWidget* view);
int ListViewRowCount(const QTreeWidget* view);
// The selected row, -1 when none.
int ListViewNextSelected(const QTreeWidget* view);
// Selects and focuses a row; -1 clears the selection.
void ListViewSelect(QTreeWidget* view, int row);
int ListViewTopRow(const QTreeWidget* view);
// Rows that fit on one page, less one, as the list window counts them.
int ListViewRowsPerPage(const QTreeWidget* view);
// Scrolls the row into view; a row past the end is taken as the last.
void ListViewEnsureVisible(QTreeWidget* view, int row);
// Puts the row at the top of the page.
void ListViewScrollToTop(QTreeWidget* view, int row);
// The first row whose first cell is the text, -1 when none.
int ListViewFind(const QTreeWidget* view, const QString& text);

// --- tree view ---------------------------------------------------------------------------

QTreeWidget* TreeViewCreate(QWidget* parent, const QString& objectName);
// A node under parent (nullptr: a top node).
QTreeWidgetItem* TreeViewInsert(QTreeWidget* view, QTreeWidgetItem* parent, const QString& text, intptr_t data);
QTreeWidgetItem* TreeViewSelected(const QTreeWidget* view);
QTreeWidgetItem* TreeViewFirstChild(const QTreeWidget* view, QTreeWidgetItem* node);
QTreeWidgetItem* TreeViewNextSibling(const QTreeWidget* view, QTreeWidgetItem* node);
intptr_t TreeViewData(const QTreeWidgetItem* node);
QString TreeViewText(const QTreeWidgetItem* node);
void TreeViewDeleteAll(QTreeWidget* view);
void TreeViewExpand(QTreeWidgetItem* node);
