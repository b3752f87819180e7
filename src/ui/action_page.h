// The first page of "Backup-Restore": the action (1031, "Backup" or "Restore"), the kinds to take
// (1032, a check box a kind, in the window's order), "Browse" (1041) for the file to restore,
// "Next >>" (1033) and "Options" (1034). The page only shows and collects; the wizard decides
// what its buttons do.
#pragma once

#include <QWidget>
#include <vector>

#include "engine/item_kind.h"

class QComboBox;
class QLabel;
class QPushButton;
class QTreeWidget;

namespace kestrav::ui {

class ActionPage : public QWidget {
  Q_OBJECT

 public:
  explicit ActionPage(QWidget* parent = nullptr);

  bool is_restore() const;
  void SetRestore(bool restore);
  // The checked kinds, in the list's order.
  std::vector<engine::ItemKind> CheckedKinds() const;
  // Checks exactly these kinds.
  void CheckOnly(const std::vector<engine::ItemKind>& kinds);
  // The file chosen for restore, shown under the action; empty for none.
  void ShowFileToRestore(const QString& path);
  const QString& file_to_restore() const { return file_to_restore_; }

 signals:
  void ActionChanged(bool restore);
  void BrowsePressed();
  void NextPressed();
  void OptionsPressed();

 protected:
  // Enter is "Next >>", wherever the focus is on the page.
  void keyPressEvent(QKeyEvent* event) override;

 private:
  QComboBox* action_;
  QPushButton* browse_;
  QLabel* file_label_;
  QTreeWidget* kinds_;
  QString file_to_restore_;
};

}  // namespace kestrav::ui
