// The "Options" tab: how one kind's restored items meet those on the device. The title (1020)
// names the kind; the four choices - delete all first (1006), add only new (1010), add new and
// update existing (1007), allow duplicates (1008) - carry the kind's texts, those it does not
// offer hidden, and "delete all first" is selected whenever the page opens. "OK" turns the choice
// into the kind's mode the handheld's way, which never gives "allow duplicates" (Chosen).
#pragma once

#include <QWidget>
#include <optional>

#include "engine/item_kind.h"

class QLabel;
class QPushButton;
class QRadioButton;

namespace kestrav::ui {

class RestoreOptionsPage : public QWidget {
  Q_OBJECT

 public:
  explicit RestoreOptionsPage(QWidget* parent = nullptr);

  // Opens the page for the kind whose mode is now `mode`.
  void Open(engine::ItemKind kind, engine::RestoreMode mode);
  // No kind to show: the title says so and the choices are hidden.
  void Close();
  std::optional<engine::ItemKind> kind() const { return kind_; }

  // The mode "OK" gives for the choice on the page: add new and update existing (1007) gives 2,
  // add only new (1010) gives 1, and otherwise the mode stays as it was - the third test looks at
  // 1010 again instead of 1008, so "Allow duplicates to be created." changes nothing.
  engine::RestoreMode ModeOfChoice() const;

 signals:
  // "OK": the kind and the mode the page gives it.
  void Chosen(engine::ItemKind kind, engine::RestoreMode mode);

 protected:
  // Enter is "OK".
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void Accept();

  QLabel* title_;
  QRadioButton* delete_all_first_;
  QRadioButton* add_only_new_;
  QRadioButton* add_new_and_update_;
  QRadioButton* allow_duplicates_;
  QPushButton* ok_;
  std::optional<engine::ItemKind> kind_;
  engine::RestoreMode mode_ = engine::RestoreMode::kDeleteAllFirst;
};

}  // namespace kestrav::ui
