// The "Contact Fields" page: maps the columns of a file other software wrote to the sixty contact
// columns before the file is imported as contacts. The "Value" list shows the fields of the
// file's first line, the "Field" / "Mapped From" list each contact column and the file field that
// feeds it; "Map", "Unmap", "Clear" and "Default" change the map, and the delimiter choices say
// how the file's columns are separated. The page opens with the map and the delimiter of the last
// import made through it (kept in the device's settings), or Default for a file none of whose
// columns that map names. The import runs the same logic as kestrav-cli import-contacts.
#pragma once

#include <QDialog>
#include <QString>
#include <array>

#include "engine/item_kind.h"
#include "kinds/contacts_import.h"
#include "outlook/contact_field_map.h"
#include "platform/device.h"
#include "records/record.h"
#include "ui/main_window.h"

class QLabel;
class QPushButton;
class QRadioButton;
class QTreeWidget;

namespace kestrav::ui {

// The job that imports a file of contacts under the contacts restore mode, run through
// MainWindow::StartJob like any restore. What the handheld's rules did with the file follows its
// rows on the status page.
MainWindow::Job ImportJob(const platform::Device& device, kinds::ContactsImport import,
                          engine::RestoreMode mode);

class FieldMappingPage : public QDialog {
  Q_OBJECT

 public:
  FieldMappingPage(const platform::Device& device, QString host_file, QWidget* parent = nullptr);

  // After Accepted: the file to import, with the chosen map and delimiter.
  kinds::ContactsImport Import() const;

  const outlook::ContactFieldMap& map() const { return map_; }
  char16_t separator() const { return import_.file.separator; }

 public slots:
  void Map();
  void Unmap();
  void Clear();
  void Default();
  // Keeps the map and the delimiter for the next import, then closes with Accepted.
  void accept() override;

 private:
  // Reads the first line with the chosen delimiter and starts from the kept map.
  void ReadFile();
  void ShowMap();
  void ShowMapError(std::u16string_view text, QTreeWidget* focus);
  std::optional<int> SelectedRow(const QTreeWidget* list) const;

  const platform::Device& device_;
  kinds::ContactsImport import_;
  records::Record first_line_;
  outlook::ContactFieldMap map_ = outlook::ClearedFieldMap();

  QTreeWidget* values_;
  QTreeWidget* fields_;
  QLabel* file_error_;
  std::array<QRadioButton*, 4> delimiters_{};
};

}  // namespace kestrav::ui
