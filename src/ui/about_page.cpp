#include "ui/about_page.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QStyle>
#include <QVBoxLayout>

#include "ui/texts.h"

namespace kestrav::ui {
namespace {

QString Text(const char16_t* text) {
  return QString::fromUtf16(text);
}

}  // namespace

QString ProgramVersionText() {
  return QString::asprintf("%u.%u.%u.%u", KESTRAV_VERSION_MAJOR, KESTRAV_VERSION_MINOR,
                           KESTRAV_VERSION_PATCH, KESTRAV_VERSION_TWEAK);
}

AboutPage::AboutPage(QWidget* parent) : QWidget(parent) {
  setObjectName("AboutPage");
  setAccessibleName(Text(texts::kAboutTab));

  auto* icon = new QLabel(this);
  const int size = style()->pixelMetric(QStyle::PM_LargeIconSize);
  const QIcon program_icon = QApplication::windowIcon().isNull()
                                 ? style()->standardIcon(QStyle::SP_DriveHDIcon)
                                 : QApplication::windowIcon();
  icon->setPixmap(program_icon.pixmap(size, size));
  icon->setObjectName("ProgramIcon");
  icon->setAccessibleName("Kestrav");

  auto* title = new QLabel(Text(texts::kProgramTitle), this);
  title->setObjectName("ProgramTitle");
  QFont bold = title->font();
  bold.setBold(true);
  title->setFont(bold);

  auto* description = new QPlainTextEdit(this);
  description->setObjectName("Description");
  description->setAccessibleName("Description");
  description->setReadOnly(true);
  // The handheld's edit breaks lines at "\r\n"; a plain text box at "\n".
  description->setPlainText(Text(texts::kDescription).remove(u'\r'));
  description->setTabChangesFocus(true);

  auto* asterisks = new QLabel(Text(texts::kAsterisks), this);
  asterisks->setObjectName("Asterisks");
  auto* version = new QLabel(ProgramVersionText(), this);
  version->setObjectName("Version");
  version->setAccessibleName("Version");
  version->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);

  auto* heading = new QHBoxLayout;
  heading->addWidget(icon);
  heading->addWidget(title, 1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(heading);
  layout->addWidget(description, 1);
  auto* footer = new QHBoxLayout;
  footer->addWidget(asterisks);
  footer->addStretch(1);
  footer->addWidget(version);
  layout->addLayout(footer);
}

}  // namespace kestrav::ui
