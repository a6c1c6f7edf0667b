#include "surfaces/SettingsAccount.h"

#include "core/Strings.h"
#include "server/Platform.h"
#include "server/Settings.h"
#include "surfaces/Browser.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"

#include <QBoxLayout>
#include <QClipboard>
#include <QGuiApplication>

AccountFace AccountFace::of(const Settings& settings, const SignIn::Phase& phase) {
    AccountFace face;
    if (settings.signedIn()) {
        face.state = State::signedIn;
        face.title = QStringLiteral("Signed in as ") +
                     settings.accountName().value_or(settings.accountEmail().value_or(QString()));
        face.text = QStringLiteral("Server: ") + hostOf(settings.platformBase());
        if (settings.platformBase() != Platform::defaultBase) face.text += QStringLiteral(" (testing)");
        face.problem = settings.accountError();
        face.projects = settings.projects();
    } else if (const auto* waiting = std::get_if<SignIn::Waiting>(&phase)) {
        face.state = State::code;
        face.title = QStringLiteral("Approve this code in your browser:");
        face.code = waiting->code;
        if (waiting->pageOpened) {
            face.text =
                QStringLiteral("A page on %1 opened. Sign in there with your email, check that it shows "
                               "the same code, then click Approve. This window updates by itself.")
                    .arg(hostOf(waiting->url.toString()));
        } else {
            face.text = QStringLiteral("No browser opened the page: open this address in one, sign in there "
                                       "with your email, check that it shows the same code, then click "
                                       "Approve. This window updates by itself.");
            face.address = waiting->url.toString();
        }
    } else if (std::holds_alternative<SignIn::Starting>(phase) ||
               std::holds_alternative<SignIn::Finishing>(phase)) {
        face.state = State::gettingCode;
        face.title = QStringLiteral("Getting a code\u2026");
    } else {
        face.state = State::signedOut;
        face.text = QStringLiteral("Sign in with your email in the browser \u2014 no keys to paste. Your "
                                   "projects then show up here.");
        if (const auto* failed = std::get_if<SignIn::Failed>(&phase)) face.problem = failed->message;
    }
    return face;
}

AccountSection::AccountSection(Needs needs, QWidget* parent) : QWidget(parent), m_needs(std::move(needs)) {
    m_layout = new QVBoxLayout(this);
    m_layout->setContentsMargins(0, 0, 0, 0);
    connect(&m_needs.signIn, &SignIn::phaseChanged, this, &AccountSection::follow);
    connect(&m_needs.settings, &Settings::changed, this, &AccountSection::follow);
    m_face = AccountFace::of(m_needs.settings, m_needs.signIn.phase());
    build();
}

// Rebuilt only when what it says changes: a toggle elsewhere in the window changes the settings too.
void AccountSection::follow() {
    AccountFace face = AccountFace::of(m_needs.settings, m_needs.signIn.phase());
    if (face == m_face) return;
    m_face = std::move(face);
    build();
}

QWidget* AccountSection::button(const QString& title, bool primary, std::function<void()> pressed) {
    auto* b = new OVButton(title, {primary ? OVButtonStyle::Kind::primary : OVButtonStyle::Kind::ghost});
    connect(b, &QAbstractButton::clicked, this, std::move(pressed));
    return b;
}

void AccountSection::build() {
    // The old face may hold the button being clicked: it leaves the window now and is deleted afterwards.
    if (m_body) {
        m_body->hide();
        m_body->setParent(nullptr);
        m_body->deleteLater();
    }
    m_body = new QWidget;
    m_layout->addWidget(m_body);
    auto* column = new QVBoxLayout(m_body);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(8);
    const auto line = [&](const QString& text, const QFont& font, OVLabel::Ink ink) {
        auto* label = new OVLabel(text, font, ink);
        column->addWidget(label);
        return label;
    };
    const auto row = [&](std::initializer_list<QWidget*> parts) {
        auto* buttons = new QHBoxLayout;
        buttons->setSpacing(8);
        for (QWidget* part : parts)
            buttons->addWidget(part);
        buttons->addStretch(1);
        column->addLayout(buttons);
    };
    Settings& settings = m_needs.settings;
    SignIn& signIn = m_needs.signIn;
    const AccountFace& face = m_face;
    if (!face.title.isEmpty()) line(face.title, OVFont::sans(11, QFont::DemiBold), OVLabel::Ink::text);
    switch (face.state) {
    case AccountFace::State::signedIn: {
        line(face.text, OVFont::sans(9), OVLabel::Ink::secondary);
        if (face.problem) line(*face.problem, OVFont::sans(9), OVLabel::Ink::warning);
        row({button(QStringLiteral("Sign out"), false, [this] { m_needs.onSignOut(); }),
             button(QStringLiteral("Refresh"), false, [this] { m_needs.refresh(); })});
        if (face.projects.isEmpty()) {
            line(QStringLiteral("No project yet."), OVFont::sans(10), OVLabel::Ink::secondary);
            row({button(QStringLiteral("Create or join one\u2026"), false, [this, &settings] {
                m_needs.browser.open(QUrl(settings.platformBase() + QStringLiteral("/app/start")));
            })});
        }
        for (const Workspace& project : face.projects) {
            auto* name = new OVLabel(project.name, OVFont::sans(10), OVLabel::Ink::text);
            auto* open = button(QStringLiteral("Open board"), false, [this, project] {
                if (const auto board = project.link(QStringLiteral("board"))) m_needs.browser.open(*board);
            });
            open->setObjectName(QStringLiteral("board:") + project.slug.value_or(project.name));
            auto* projectRow = new QHBoxLayout;
            projectRow->addWidget(name, 1);
            projectRow->addWidget(open);
            column->addLayout(projectRow);
        }
        break;
    }
    case AccountFace::State::code: {
        auto* code = line(face.code, OVFont::mono(22, QFont::Bold), OVLabel::Ink::accent);
        code->setObjectName(QStringLiteral("code"));
        code->setTextInteractionFlags(Qt::TextSelectableByMouse);
        line(face.text, OVFont::sans(9), OVLabel::Ink::secondary);
        if (face.address) {
            auto* address = line(*face.address, OVFont::mono(9), OVLabel::Ink::text);
            address->setObjectName(QStringLiteral("address"));
            address->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
        }
        row({button(QStringLiteral("Copy"), false,
                    [code = face.code] {
                        QClipboard* clipboard = QGuiApplication::clipboard();
                        clipboard->setText(code);
                        // A middle click pastes it too, where the desktop has a selection.
                        if (clipboard->supportsSelection()) clipboard->setText(code, QClipboard::Selection);
                    }),
             button(QStringLiteral("Open the page again"), false, [&signIn] { signIn.reopen(); }),
             button(QStringLiteral("Cancel"), false, [this, &signIn] {
                 signIn.cancel();
                 m_needs.onChange();
             })});
        break;
    }
    case AccountFace::State::gettingCode:
        break;
    case AccountFace::State::signedOut:
        line(face.text, OVFont::sans(10), OVLabel::Ink::secondary);
        if (face.problem) line(*face.problem, OVFont::sans(9), OVLabel::Ink::warning);
        row({button(QStringLiteral("Sign in to Orvane"), true, [this, &settings, &signIn] {
            signIn.begin(settings);
            m_needs.onChange();
        })});
        break;
    }
}
