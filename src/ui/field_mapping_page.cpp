#include "ui/field_mapping_page.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "engine/progress_sink.h"
#include "outlook/contact_record.h"
#include "outlook/texts.h"
#include "ui/deletion_dialog.h"
#include "ui/texts.h"

namespace kestrav::ui {
namespace {

// The page is as large as the handheld's other pages.
constexpr int kWidthUnits = 156;
constexpr int kHeightUnits = 177;

QString Text(std::u16string_view text) {
  return QString::fromStdU16String(std::u16string(text));
}

struct DelimiterChoice {
  const char16_t* text;
  const char* id;
  outlook::FieldDelimiter delimiter;
};

constexpr std::array<DelimiterChoice, 4> kDelimiterChoices = {{
    {texts::kCommaDelimiter, "CommaDelimiter", outlook::FieldDelimiter::kComma},
    {texts::kSemicolonDelimiter, "SemicolonDelimiter", outlook::FieldDelimiter::kSemicolon},
    {texts::kTabDelimiter, "TabDelimiter", outlook::FieldDelimiter::kTab},
    {texts::kSpaceDelimiter, "SpaceDelimiter", outlook::FieldDelimiter::kSpace},
}};

QTreeWidget* MakeList(const QStringList& columns, const char* id, const QString& name,
                      QWidget* parent) {
  auto* list = new QTreeWidget(parent);
  list->setObjectName(id);
  list->setAccessibleName(name);
  list->setHeaderLabels(columns);
  list->setRootIsDecorated(false);
  list->setSelectionMode(QAbstractItemView::SingleSelection);
  list->setAllColumnsShowFocus(true);
  return list;
}

QPushButton* MakeButton(std::u16string_view text, QWidget* parent) {
  auto* button = new QPushButton(Text(text), parent);
  button->setObjectName(Text(text));
  button->setAccessibleName(Text(text));
  return button;
}

}  // namespace

FieldMappingPage::FieldMappingPage(const platform::Device& device, QString host_file,
                                   QWidget* parent)
    : QDialog(parent), device_(device) {
  setObjectName("FieldMappingPage");
  setWindowTitle(Text(texts::kContactFields));
  setAccessibleName(Text(texts::kMapFieldsTitle));

  auto* title = new QLabel(Text(texts::kMapFieldsTitle), this);
  title->setObjectName("Title");
  title->setWordWrap(true);
  values_ = MakeList({Text(texts::kValueColumn)}, "ValueList", Text(texts::kValueColumn), this);
  auto* contact_fields = new QLabel(Text(texts::kContactFields), this);
  contact_fields->setObjectName("ContactFieldsLabel");
  fields_ = MakeList({Text(texts::kFieldColumn), Text(texts::kMappedFromColumn)}, "FieldList",
                     Text(texts::kContactFields), this);
  contact_fields->setBuddy(fields_);
  for (const outlook::ContactColumn& column : outlook::ContactColumns())
    new QTreeWidgetItem(fields_, {Text(column.header), QString()});
  fields_->header()->setSectionResizeMode(0, QHeaderView::ResizeToContents);

  file_error_ = new QLabel(this);
  file_error_->setObjectName("FileError");
  file_error_->setAccessibleName(Text(texts::kCsvFileError));
  file_error_->setWordWrap(true);
  file_error_->hide();

  auto* buttons = new QHBoxLayout;
  QPushButton* map = MakeButton(texts::kMapButton, this);
  QPushButton* unmap = MakeButton(texts::kUnmapButton, this);
  QPushButton* clear = MakeButton(texts::kClearButton, this);
  QPushButton* default_map = MakeButton(texts::kDefaultButton, this);
  for (QPushButton* button : {map, unmap, clear, default_map}) {
    button->setAutoDefault(false);
    buttons->addWidget(button);
  }
  connect(map, &QPushButton::clicked, this, &FieldMappingPage::Map);
  connect(unmap, &QPushButton::clicked, this, &FieldMappingPage::Unmap);
  connect(clear, &QPushButton::clicked, this, &FieldMappingPage::Clear);
  connect(default_map, &QPushButton::clicked, this, &FieldMappingPage::Default);

  auto* delimiter_row = new QHBoxLayout;
  auto* delimiter_label = new QLabel(Text(texts::kFieldDelimiter), this);
  delimiter_label->setObjectName("FieldDelimiterLabel");
  delimiter_row->addWidget(delimiter_label);
  auto* group = new QButtonGroup(this);
  const kinds::KeptImport kept = kinds::ReadKeptImport(device_);
  for (std::size_t at = 0; at < kDelimiterChoices.size(); ++at) {
    const DelimiterChoice& choice = kDelimiterChoices[at];
    auto* radio = new QRadioButton(Text(choice.text), this);
    radio->setObjectName(choice.id);
    radio->setAccessibleName(Text(texts::kFieldDelimiter) + Text(choice.text));
    radio->setChecked(static_cast<char16_t>(choice.delimiter) == kept.separator);
    group->addButton(radio);
    delimiter_row->addWidget(radio);
    delimiters_[at] = radio;
    connect(radio, &QRadioButton::toggled, this, [this, choice](bool checked) {
      if (!checked) return;
      import_.file.separator = static_cast<char16_t>(choice.delimiter);
      ReadFile();
    });
  }
  delimiter_row->addStretch();

  auto* ok_cancel = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  ok_cancel->setObjectName("OkCancel");
  for (QAbstractButton* button : ok_cancel->buttons())
    button->setAccessibleName(button->text().remove('&'));
  connect(ok_cancel, &QDialogButtonBox::accepted, this, &FieldMappingPage::accept);
  connect(ok_cancel, &QDialogButtonBox::rejected, this, &FieldMappingPage::reject);

  auto* lists = new QGridLayout;
  lists->addWidget(values_, 1, 0);
  lists->addWidget(contact_fields, 0, 1);
  lists->addWidget(fields_, 1, 1);
  lists->setColumnStretch(1, 2);
  lists->setColumnStretch(0, 1);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(title);
  layout->addLayout(lists, 1);
  layout->addWidget(file_error_);
  layout->addLayout(buttons);
  layout->addLayout(delimiter_row);
  layout->addWidget(ok_cancel);
  setMinimumSize(DialogUnitsToPixels(fontMetrics(), kWidthUnits, kHeightUnits)
                     .expandedTo(layout->minimumSize()));

  import_.file.path = host_file.toStdU16String();
  import_.file.separator = kept.separator;
  kinds::ChooseEncoding(device_, &import_.file);
  ReadFile();
}

void FieldMappingPage::ReadFile() {
  std::u16string error;
  if (!kinds::ReadFirstLine(device_, import_.file, &first_line_, &error)) {
    first_line_.clear();
    file_error_->setText(Text(error));
    file_error_->show();
  } else {
    file_error_->hide();
  }
  values_->clear();
  for (std::size_t column = 0; column < first_line_.size(); ++column)
    new QTreeWidgetItem(values_, {Text(first_line_[column])});
  map_ = kinds::StartingMap(kinds::ReadKeptImport(device_), first_line_);
  ShowMap();
}

void FieldMappingPage::ShowMap() {
  for (int row = 0; row < fields_->topLevelItemCount(); ++row) {
    const std::uint16_t column = map_[static_cast<std::size_t>(row)];
    fields_->topLevelItem(row)->setText(
        1, column < first_line_.size() ? Text(first_line_[column]) : QString());
  }
}

std::optional<int> FieldMappingPage::SelectedRow(const QTreeWidget* list) const {
  const QList<QTreeWidgetItem*> selected = list->selectedItems();
  if (selected.isEmpty()) return std::nullopt;
  return list->indexOfTopLevelItem(selected.front());
}

void FieldMappingPage::ShowMapError(std::u16string_view text, QTreeWidget* focus) {
  QMessageBox::critical(this, Text(outlook::texts::kMapError), Text(text));
  focus->setFocus();
}

void FieldMappingPage::Map() {
  const std::optional<int> value = SelectedRow(values_);
  if (const auto error = outlook::MapField(map_, value, SelectedRow(fields_))) {
    ShowMapError(*error, value ? fields_ : values_);
    return;
  }
  ShowMap();
}

void FieldMappingPage::Unmap() {
  if (const auto error = outlook::UnmapField(map_, SelectedRow(fields_))) {
    ShowMapError(*error, fields_);
    return;
  }
  ShowMap();
}

void FieldMappingPage::Clear() {
  map_ = outlook::ClearedFieldMap();
  ShowMap();
}

void FieldMappingPage::Default() {
  map_ = outlook::DefaultFieldMap(first_line_);
  ShowMap();
}

void FieldMappingPage::accept() {
  // A map that cannot be kept is still the one this import uses.
  kinds::KeepImport(device_, {kinds::FieldMapText(map_, first_line_), import_.file.separator});
  QDialog::accept();
}

kinds::ContactsImport FieldMappingPage::Import() const {
  kinds::ContactsImport import = import_;
  import.map = map_;
  return import;
}

MainWindow::Job ImportJob(const platform::Device& device, kinds::ContactsImport import,
                          engine::RestoreMode mode) {
  import.mode = mode;
  return [&device, import](engine::ProgressSink* sink, engine::CancelFlag* cancel,
                           const kinds::FrontEnd& front_end) {
    const kinds::ImportOutcome outcome =
        kinds::ImportContacts(device, import, sink, cancel, front_end);
    // What the handheld's rules did with the file, after its rows, as kestrav-cli says it.
    for (const std::u16string& note : outcome.notes)
      engine::PostLog(sink, note, engine::LogIcon::kInformation);
    return outcome.outcome;
  };
}

}  // namespace kestrav::ui
