#include "voice/NoteDialog.h"

#include "surfaces/design/OVFont.h"

#include <QBoxLayout>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QPushButton>

namespace {
constexpr int pictureSide = 96;
}

NoteDialog::NoteDialog(const QImage& image, bool recording, QWidget* parent)
    : QDialog(parent), m_field(new QLineEdit(this)) {
    setModal(true);
    const QString title = recording ? QStringLiteral("Pin to this session") : QStringLiteral("New pin");
    setWindowTitle(title);

    auto* picture = new QLabel(this);
    if (!image.isNull())
        picture->setPixmap(QPixmap::fromImage(
            image.scaled(pictureSide, pictureSide, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    picture->setAlignment(Qt::AlignTop | Qt::AlignHCenter);
    picture->setFixedWidth(pictureSide);

    auto* heading = new QLabel(title, this);
    heading->setFont(OVFont::sans(13, QFont::Bold));
    auto* info =
        new QLabel(recording ? QStringLiteral("What should the team notice here?")
                             : QStringLiteral("What should the team notice here? The pin waits in the menu "
                                              "until you send your pins to the board."),
                   this);
    info->setWordWrap(true);
    info->setFixedWidth(340);

    m_field->setPlaceholderText(QStringLiteral("e.g. their pricing page leads with the annual plan"));
    m_field->setFixedSize(340, 24);

    auto* buttons = new QDialogButtonBox(this);
    QPushButton* pin = buttons->addButton(QStringLiteral("Pin"), QDialogButtonBox::AcceptRole);
    buttons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    pin->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    auto* text = new QVBoxLayout;
    text->addWidget(heading);
    text->addWidget(info);
    text->addWidget(m_field);
    text->addStretch();
    text->addWidget(buttons);
    auto* layout = new QHBoxLayout(this);
    layout->addWidget(picture);
    layout->addLayout(text);

    m_field->setFocus();
}

QString NoteDialog::note() const {
    return m_field->text().trimmed();
}
