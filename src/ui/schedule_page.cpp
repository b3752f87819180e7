#include "ui/schedule_page.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollArea>
#include <QShowEvent>
#include <QSpinBox>
#include <QTimeEdit>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "engine/device_job.h"
#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "kinds/start_up.h"
#include "platform/system_error.h"

namespace kestrav::ui {
namespace {

constexpr char16_t kTitle[] = u"Kestrav schedule";
constexpr char16_t kPerformOn[] = u"Perform backup on every:";
constexpr char16_t kDaysColumn[] = u"Days";
constexpr char16_t kStartTime[] = u"Start time:";
constexpr char16_t kTurnOff[] = u"Turn off after backup";
constexpr char16_t kDeleteOld[] = u"Delete old backup files";
constexpr char16_t kFilesToKeep[] = u"Number of files to keep:";
constexpr char16_t kValidate[] = u"Validate";
constexpr char16_t kBack[] = u"<< Back";

// The timer starts the backup at the time of day entered in the machine's local time, on a day
// counted from the UTC date, as the handheld's notification did.
constexpr char16_t kTimeNote[] = u"Local time; the days follow today's UTC date.";
constexpr char16_t kNextRun[] = u"Next run: %1";
constexpr char16_t kNoRunArmed[] = u"Next run: none armed";

constexpr char16_t kJobName[] = u"schedule set";
constexpr char16_t kRefused[] = u"The schedule was not saved: %1";
constexpr char16_t kNotSaved[] = u"The schedule could not be saved.";
constexpr char16_t kStoreFailed[] =
    u"The schedule could not be saved: a store of the device failed: %1";
constexpr char16_t kTimerNotSet[] = u"The schedule is saved, but its timer could not be set: %1";
constexpr char16_t kRunPassed[] = u"The schedule is saved, but its next run, %1, %2";

constexpr int kKeepFilesLeast = 1;
constexpr int kKeepFilesMost = 10;

QString Text(std::u16string_view text) {
  return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

QLabel* MakeLabel(const char16_t* text, const char* id, QWidget* parent) {
  auto* label = new QLabel(Text(text), parent);
  if (id != nullptr) label->setObjectName(QString::fromLatin1(id));
  label->setWordWrap(true);
  return label;
}

}  // namespace

SchedulePage::SchedulePage(const platform::Device& device, QWidget* parent)
    : QWidget(parent), device_(device) {
  setObjectName("SchedulePage");
  setAccessibleName(Text(kTitle));
  // The controls come with the page's first showing: the window starts without paying for them.
  auto* page_layout = new QVBoxLayout(this);
  page_layout->setContentsMargins(0, 0, 0, 0);
}

void SchedulePage::Build() {
  QLabel* title = MakeLabel(kTitle, "1020", this);
  title->setAccessibleName(Text(kTitle));
  QFont bold = title->font();
  bold.setBold(true);
  title->setFont(bold);
  QLabel* perform_on = MakeLabel(kPerformOn, "1003", this);
  perform_on->setAccessibleName(Text(kPerformOn));

  days_ = new QTreeWidget(this);
  days_->setObjectName("1050");
  days_->setAccessibleName(Text(kPerformOn));
  days_->setColumnCount(1);
  days_->setHeaderLabels({Text(kDaysColumn)});
  days_->setRootIsDecorated(false);
  days_->setUniformRowHeights(true);
  days_->header()->setSectionsClickable(false);
  for (const std::u16string_view day : settings::kDayNames) {
    auto* row = new QTreeWidgetItem(days_, {Text(day)});
    row->setFlags((row->flags() | Qt::ItemIsUserCheckable) & ~Qt::ItemIsEditable);
    row->setCheckState(0, Qt::Unchecked);
  }
  perform_on->setBuddy(days_);
  // The seven rows with no room to spare, as the handheld's list shows them.
  days_->setFixedHeight(days_->header()->sizeHint().height() + 7 * days_->sizeHintForRow(0) +
                        2 * days_->frameWidth());

  QLabel* start_label = MakeLabel(kStartTime, nullptr, this);
  start_time_ = new QTimeEdit(this);
  start_time_->setObjectName("1052");
  start_time_->setAccessibleName(Text(kStartTime));
  start_time_->setDisplayFormat("HH:mm:ss");
  start_label->setBuddy(start_time_);
  QLabel* time_note = MakeLabel(kTimeNote, nullptr, this);
  time_note->setObjectName("TimeNote");
  next_run_ = MakeLabel(kNoRunArmed, nullptr, this);
  next_run_->setObjectName("NextRun");
  next_run_->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);

  turn_off_ = new QCheckBox(Text(kTurnOff), this);
  turn_off_->setObjectName("1057");
  turn_off_->setAccessibleName(Text(kTurnOff));
  delete_old_ = new QCheckBox(Text(kDeleteOld), this);
  delete_old_->setObjectName("1056");
  delete_old_->setAccessibleName(Text(kDeleteOld));

  QLabel* keep_label = MakeLabel(kFilesToKeep, nullptr, this);
  // The handheld's edit (1054) with its up-down buddy (1055) is one spin box here.
  keep_files_ = new QSpinBox(this);
  keep_files_->setObjectName("1055");
  keep_files_->setAccessibleName(Text(kFilesToKeep));
  keep_files_->setRange(kKeepFilesLeast, kKeepFilesMost);
  if (auto* edit = keep_files_->findChild<QLineEdit*>()) {
    edit->setObjectName("1054");
    edit->setAccessibleName(Text(kFilesToKeep));
  }
  keep_label->setBuddy(keep_files_);
  connect(delete_old_, &QCheckBox::toggled, keep_files_, &QWidget::setEnabled);

  validate_ = new QPushButton(Text(kValidate), this);
  validate_->setObjectName("1033");
  validate_->setAccessibleName(Text(kValidate));
  connect(validate_, &QPushButton::clicked, this, &SchedulePage::Validate);
  back_ = new QPushButton(Text(kBack), this);
  back_->setObjectName("1034");
  back_->setAccessibleName("Back");
  connect(back_, &QPushButton::clicked, this, &SchedulePage::Back);

  auto* time_row = new QHBoxLayout;
  time_row->addWidget(start_label);
  time_row->addWidget(start_time_, 1);
  auto* keep_row = new QHBoxLayout;
  keep_row->addWidget(keep_label, 1);
  keep_row->addWidget(keep_files_);
  auto* buttons = new QHBoxLayout;
  buttons->addWidget(back_);
  buttons->addStretch(1);
  buttons->addWidget(validate_);

  // On the handheld's screen the page scrolls; on a desktop it has room.
  auto* content = new QWidget(this);
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(4, 4, 4, 4);
  layout->setSpacing(4);
  layout->addWidget(title);
  layout->addWidget(perform_on);
  layout->addWidget(days_);
  layout->addLayout(time_row);
  layout->addWidget(time_note);
  layout->addWidget(next_run_);
  layout->addWidget(turn_off_);
  layout->addWidget(delete_old_);
  layout->addLayout(keep_row);
  layout->addStretch(1);
  layout->addLayout(buttons);
  auto* scroll = new QScrollArea(this);
  scroll->setWidget(content);
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  QWidget::layout()->addWidget(scroll);

  setTabOrder(days_, start_time_);
  setTabOrder(start_time_, turn_off_);
  setTabOrder(turn_off_, delete_old_);
  setTabOrder(delete_old_, keep_files_);
  setTabOrder(keep_files_, back_);
  setTabOrder(back_, validate_);
}

void SchedulePage::SetWizardChoices(const settings::ScheduleChoice& wizard) {
  wizard_ = wizard;
}

void SchedulePage::setVisible(bool visible) {
  // Built before it shows, so that its controls show with it.
  if (visible && days_ == nullptr) Build();
  QWidget::setVisible(visible);
}

void SchedulePage::showEvent(QShowEvent* event) {
  // Another program, or "Clear Schedule", may have changed the schedule since.
  if (!event->spontaneous()) Load();
  QWidget::showEvent(event);
}

void SchedulePage::Load() {
  if (days_ == nullptr) Build();
  const settings::SchedulePage page = settings::LoadSchedulePage(device_);
  for (int day = 0; day < days_->topLevelItemCount(); ++day) {
    days_->topLevelItem(day)->setCheckState(
        0, (page.days & (1u << day)) != 0 ? Qt::Checked : Qt::Unchecked);
  }
  turn_off_->setChecked(page.turn_off);
  delete_old_->setChecked(page.delete_old);
  keep_files_->setEnabled(page.delete_old);
  keep_files_->setValue(static_cast<int>(page.keep_files));
  // Without a start time saved, the picker shows the time it is now.
  const platform::SystemTime start = page.start ? *page.start : device_.clock().LocalTime();
  start_time_->setTime(QTime(start.hour, start.minute, start.second));
  const std::optional<std::u16string> next = kinds::NextRunText(device_);
  next_run_->setText(next ? Text(kNextRun).arg(Text(*next)) : Text(kNoRunArmed));
}

settings::ScheduleChoice SchedulePage::Choice() const {
  settings::ScheduleChoice choice;
  if (wizard_) {
    choice = *wizard_;
  } else if (const auto saved = settings::ReadSchedule(device_); saved && !saved->kinds.empty()) {
    choice.backup_folder = saved->backup_folder;
    choice.kinds = saved->kinds;
    choice.store_attachments = saved->store_attachments;
    choice.compress = saved->compress;
  } else {
    choice.backup_folder = kinds::DefaultBackupFolder(device_);
    for (const kinds::KindRow& row : kinds::AllKinds()) choice.kinds.push_back(row.kind);
  }
  choice.days = 0;
  for (int day = 0; day < days_->topLevelItemCount(); ++day) {
    if (days_->topLevelItem(day)->checkState(0) != Qt::Unchecked)
      choice.days |= static_cast<std::uint8_t>(1u << day);
  }
  const QTime start = start_time_->time();
  choice.start_seconds =
      static_cast<std::uint32_t>((start.hour() * 60 + start.minute()) * 60 + start.second());
  choice.turn_off = turn_off_->isChecked();
  choice.delete_old = delete_old_->isChecked();
  choice.keep_files = static_cast<std::uint32_t>(keep_files_->value());
  return choice;
}

void SchedulePage::Validate() {
  if (days_ == nullptr) Load();
  const settings::ScheduleChoice choice = Choice();
  // The device's job lock, as kestrav-cli's "schedule set" takes it; nobody waits on a page.
  kinds::FrontEnd front_end;
  front_end.wait_seconds = 0;
  std::u16string refusal;
  std::unique_ptr<engine::DeviceJob> job =
      kinds::BeginJob(device_, kJobName, false, nullptr, front_end, &refusal);
  if (job == nullptr) {
    ShowFailure(Text(kRefused).arg(Text(refusal)));
    return;
  }
  bool armed = false;
  platform::ErrorCode arm_error = platform::kErrorSuccess;
  const bool saved = settings::SaveSchedule(device_, choice, &armed, &arm_error);
  const std::u16string store_failure = job->StoreFailure();
  job.reset();
  if (!saved) {
    ShowFailure(store_failure.empty() ? Text(kNotSaved)
                                      : Text(kStoreFailed).arg(Text(store_failure)));
    return;
  }
  bool passed = false;
  const std::optional<std::u16string> next = kinds::NextRunText(device_, &passed);
  if (arm_error != platform::kErrorSuccess || passed) {
    Load();
    ShowFailure(arm_error != platform::kErrorSuccess
                    ? Text(kTimerNotSet).arg(Text(platform::SystemErrorText(arm_error)))
                    : Text(kRunPassed).arg(Text(*next), Text(kinds::kNextRunPassed)));
    return;
  }
  QMessageBox box(QMessageBox::Information, Text(settings::kScheduleUpdatedCaption),
                  Text(settings::kScheduleUpdated), QMessageBox::Ok, this);
  box.setObjectName("ScheduleUpdated");
  box.exec();
  emit Validated();
}

void SchedulePage::ShowFailure(const QString& text) {
  QMessageBox box(QMessageBox::Warning, window()->windowTitle(), text, QMessageBox::Ok, this);
  box.setObjectName("FailureBox");
  box.exec();
}

}  // namespace kestrav::ui
