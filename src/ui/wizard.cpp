#include "ui/wizard.h"

#include <QFileDialog>
#include <QMessageBox>
#include <QStackedWidget>
#include <memory>

#include "engine/backup_job.h"
#include "kinds/restore_entries.h"
#include "platform/file_system.h"
#include "platform/format.h"
#include "platform/text.h"
#include "settings/reg_key.h"
#include "settings/settings_keys.h"
#include "ui/action_page.h"
#include "ui/field_mapping_page.h"
#include "ui/file_page.h"
#include "ui/folder_browser.h"
#include "ui/main_window.h"
#include "ui/messages_folders_page.h"
#include "ui/restore_options_page.h"
#include "ui/schedule_page.h"
#include "ui/texts.h"

namespace kestrav::ui {
namespace {

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

// A file a restore's Browse can pick that holds contacts of another program, for the import.
bool IsContactsToImport(std::u16string_view file) {
  const std::u16string_view extension = platform::ExtensionOf(file);
  return platform::EqualsIgnoringAsciiCase(extension, u".csv") ||
         platform::EqualsIgnoringAsciiCase(extension, u".txt");
}

void FocusFirst(QWidget* page, const char* id) {
  if (auto* first = page->findChild<QWidget*>(id); first != nullptr) first->setFocus();
}

}  // namespace

Wizard::Wizard(const platform::Device& device, MainWindow* window, QStackedWidget* backup_restore,
               ActionPage* action_page, FilePage* file_page, MessagesFoldersPage* messages_page,
               RestoreOptionsPage* options_page, kinds::FrontEnd front_end)
    : QObject(window),
      device_(device),
      window_(window),
      backup_restore_(backup_restore),
      action_page_(action_page),
      file_page_(file_page),
      messages_page_(messages_page),
      options_page_(options_page),
      front_end_(std::move(front_end)) {
  connect(action_page_, &ActionPage::ActionChanged, this, &Wizard::OnActionChanged);
  connect(action_page_, &ActionPage::BrowsePressed, this, &Wizard::OnBrowse);
  connect(action_page_, &ActionPage::OptionsPressed, this, &Wizard::OnOptions);
  connect(action_page_, &ActionPage::NextPressed, this, &Wizard::OnActionNext);
  connect(file_page_, &FilePage::BackPressed, this, &Wizard::ShowActionPage);
  connect(file_page_, &FilePage::NextPressed, this, &Wizard::OnFileNext);
  connect(file_page_, &FilePage::BrowsePressed, this, &Wizard::BrowseFolder);
  connect(file_page_, &FilePage::SchedulePressed, this, &Wizard::OpenSchedulePage);
  connect(options_page_, &RestoreOptionsPage::Chosen, this, &Wizard::OnKindChosen);
}

bool Wizard::Box(QMessageBox::Icon icon, std::u16string_view title, const std::u16string& text,
                 bool yes_no) {
  QMessageBox box(icon, Text(title), Text(text),
                  yes_no ? QMessageBox::Yes | QMessageBox::No : QMessageBox::Ok, window_);
  box.setObjectName("WizardBox");
  if (yes_no) box.setDefaultButton(QMessageBox::No);
  return box.exec() == QMessageBox::Yes;
}

void Wizard::ShowActionPage() {
  backup_restore_->setCurrentWidget(action_page_);
  FocusFirst(action_page_, "1031");
}

void Wizard::OnActionChanged(bool restore) {
  messages_page_->SetRestore(restore);
  if (restore && !entries_.empty()) action_page_->CheckOnly(kinds::KindsOf(entries_));
}

void Wizard::OnBrowse() {
  const QString start = Text(front_end_.Shown(kinds::DefaultBackupFolder(device_)));
  QFileDialog dialog(window_, Text(texts::kOpenForRestore), start, Text(texts::kRestoreFilter));
  dialog.setObjectName("RestoreFileDialog");
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  dialog.setFileMode(QFileDialog::ExistingFile);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return;
  OpenForRestore(dialog.selectedFiles().constFirst());
}

void Wizard::OpenForRestore(const QString& path) {
  const std::u16string file = path.toStdU16String();
  std::vector<engine::RestoreEntry> entries;
  if (const auto refusal = kinds::RestoreEntriesOf(device_, file, &entries); refusal) {
    // Contacts another program wrote are imported through a map of their fields.
    if (IsContactsToImport(file)) return ImportContacts(path);
    Box(QMessageBox::Critical, refusal->title,
        refusal->cause.empty() ? refusal->text : refusal->text + u" (" + refusal->cause + u")");
    return;
  }
  ShowFileToRestore(path, std::move(entries));
}

void Wizard::ShowFileToRestore(const QString& path, std::vector<engine::RestoreEntry> entries) {
  restore_file_ = path.toStdU16String();
  import_.reset();
  entries_ = std::move(entries);
  options_to_open_.clear();
  options_page_->Close();
  action_page_->ShowFileToRestore(path);
  action_page_->SetRestore(true);
  action_page_->CheckOnly(kinds::KindsOf(entries_));
  window_->ShowTab(Tab::kBackupRestore);
  ShowActionPage();
}

std::vector<engine::ItemKind> Wizard::KindsToRestore() const {
  const std::vector<engine::ItemKind> in_file = kinds::KindsOf(entries_);
  std::vector<engine::ItemKind> kinds;
  for (const engine::ItemKind kind : action_page_->CheckedKinds()) {
    if (std::ranges::find(in_file, kind) != in_file.end()) kinds.push_back(kind);
  }
  return kinds;
}

void Wizard::OnOptions() {
  if (!action_page_->is_restore()) {
    messages_page_->Load();
    window_->ShowTab(Tab::kMessagesFolders);
    return;
  }
  if (action_page_->CheckedKinds().empty()) {
    Box(QMessageBox::Critical, texts::kActionSelectionError, texts::kNoActionSelected);
    return;
  }
  const std::vector<engine::ItemKind> kinds = KindsToRestore();
  if (kinds.empty()) {
    Box(QMessageBox::Critical, texts::kRestoreError, texts::kNoRestoreType);
    return;
  }
  options_to_open_.assign(kinds.begin(), kinds.end());
  OpenNextOptions();
}

void Wizard::OpenNextOptions() {
  if (options_to_open_.empty()) {
    options_page_->Close();
    window_->ShowTab(Tab::kBackupRestore);
    ShowActionPage();
    return;
  }
  const engine::ItemKind kind = options_to_open_.front();
  options_to_open_.pop_front();
  const auto entry = std::ranges::find(entries_, kind, &engine::RestoreEntry::kind);
  options_page_->Open(kind,
                      entry == entries_.end() ? engine::RestoreMode::kDeleteAllFirst : entry->mode);
  window_->ShowTab(Tab::kOptions);
  FocusFirst(options_page_, "1006");
}

void Wizard::OnKindChosen(engine::ItemKind kind, engine::RestoreMode mode) {
  for (engine::RestoreEntry& entry : entries_) {
    if (entry.kind == kind) entry.mode = mode;
  }
  OpenNextOptions();
}

bool Wizard::Escape() {
  if (window_->CurrentTab() == Tab::kBackupRestore &&
      backup_restore_->currentWidget() == file_page_) {
    ShowActionPage();
    return true;
  }
  if (window_->CurrentTab() == Tab::kOptions && options_page_->kind()) {
    options_to_open_.clear();
    options_page_->Close();
    window_->ShowTab(Tab::kBackupRestore);
    ShowActionPage();
    return true;
  }
  return false;
}

void Wizard::OnActionNext() {
  // While a job runs the start command does nothing else.
  if (window_->busy()) return;
  const std::vector<engine::ItemKind> checked = action_page_->CheckedKinds();
  if (checked.empty()) {
    Box(QMessageBox::Critical, texts::kActionSelectionError, texts::kNoActionSelected);
    return;
  }
  if (action_page_->is_restore()) {
    StartRestore(checked);
    return;
  }
  if (!file_page_->filled()) file_page_->Fill();
  backup_restore_->setCurrentWidget(file_page_);
  FocusFirst(file_page_, "1038");
}

void Wizard::OnFileNext() {
  if (window_->busy()) return;
  if (action_page_->CheckedKinds().empty()) {
    Box(QMessageBox::Critical, texts::kActionSelectionError, texts::kNoActionSelected);
    return;
  }
  const std::u16string archive = file_page_->ArchiveFile();
  if (platform::BaseName(archive) == engine::kArchiveExtension) {
    Box(QMessageBox::Warning, window_->windowTitle().toStdU16String(), texts::kNoFileName);
    return;
  }
  if (const std::optional<std::u16string> folder = kinds::MissingFolderOf(device_, archive)) {
    Box(QMessageBox::Warning, window_->windowTitle().toStdU16String(),
        platform::Format(texts::kNoSuchFolder, front_end_.Shown(*folder)));
    return;
  }
  if (device_.files().FileExists(archive) &&
      !Box(QMessageBox::Question, texts::kOverwriteConfirmCaption,
           platform::Format(texts::kOverwriteConfirm, archive), true)) {
    return;
  }
  if (file_page_->set_as_default()) {
    settings::WriteStringValue(device_.registry(), settings::kApplicationKey,
                               settings::kDefaultFolderValue, file_page_->folder());
  }
  StartBackup(archive);
}

void Wizard::StartBackup(const std::u16string& archive) {
  auto job = std::make_shared<engine::BackupJob>();
  job->archive_file = archive;
  job->kinds = action_page_->CheckedKinds();
  job->compression_method = file_page_->compress() ? 8 : 0;
  job->messages_option = messages_page_->Option();
  window_->StartJob(true,
                    [&device = device_, job](engine::ProgressSink* sink, engine::CancelFlag* cancel,
                                             const kinds::FrontEnd& front_end) {
                      return kinds::RunBackup(device, *job, sink, cancel, front_end);
                    });
}

void Wizard::StartRestore(const std::vector<engine::ItemKind>& checked) {
  if (KindsToRestore().empty()) {
    Box(QMessageBox::Critical, texts::kRestoreError, texts::kNoRestoreType);
    return;
  }
  if (import_) {
    window_->StartJob(false, ImportJob(device_, *import_, entries_.front().mode));
    return;
  }
  window_->StartJob(false, [&device = device_, file = restore_file_, checked, entries = entries_,
                            option = messages_page_->Option()](engine::ProgressSink* sink,
                                                               engine::CancelFlag* cancel,
                                                               const kinds::FrontEnd& front_end) {
    return kinds::RunRestoreOf(device, file, checked, entries, option, sink, cancel, front_end);
  });
}

settings::ScheduleChoice Wizard::ScheduleChoice() const {
  settings::ScheduleChoice choice;
  choice.backup_folder =
      file_page_->filled() ? file_page_->folder() : kinds::DefaultBackupFolder(device_);
  choice.kinds = action_page_->CheckedKinds();
  choice.compress = !file_page_->filled() || file_page_->compress();
  const engine::MessagesOption option = messages_page_->Option();
  choice.store_attachments = option.store_attachments;
  choice.exclusions = option.exclusions;
  return choice;
}

void Wizard::BrowseFolder() {
  FolderBrowser browser(device_, file_page_->folder(), window_);
  if (browser.exec() == QDialog::Accepted) file_page_->SetFolder(browser.chosen_folder());
}

void Wizard::OpenSchedulePage() {
  window_->schedule_page()->SetWizardChoices(ScheduleChoice());
  window_->ShowTab(Tab::kSchedule);
}

void Wizard::ImportContacts(const QString& path) {
  FieldMappingPage mapping(device_, path, window_);
  if (mapping.exec() != QDialog::Accepted) return;
  engine::RestoreEntry contacts;
  contacts.kind = engine::ItemKind::kContacts;
  contacts.file = path.toStdU16String();
  ShowFileToRestore(path, {contacts});
  import_ = mapping.Import();
}

}  // namespace kestrav::ui
