#include "surfaces/SettingsLegacy.h"

#include "core/Strings.h"
#include "server/API.h"
#include "server/Settings.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"

#include <QBoxLayout>
#include <QFormLayout>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QSignalBlocker>

namespace {
const QString foldTitle = QStringLiteral("Advanced: legacy servers");
} // namespace

bool LegacySection::openAtFirst(const Settings& settings) {
    return !settings.workspaces().isEmpty() && settings.projects().isEmpty();
}

LegacySection::LegacySection(Settings& settings, std::function<void()> onChange, QWidget* parent)
    : QWidget(parent), m_settings(settings), m_onChange(std::move(onChange)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(8);
    m_fold = new OVButton(foldTitle, {OVButtonStyle::Kind::quiet});
    m_fold->setCheckable(true);
    connect(m_fold, &QAbstractButton::toggled, this, &LegacySection::setOpen);
    column->addWidget(m_fold, 0, Qt::AlignLeft);

    m_body = new QWidget;
    column->addWidget(m_body);
    auto* body = new QVBoxLayout(m_body);
    body->setContentsMargins(0, 0, 0, 0);
    body->addWidget(
        new OVLabel(QStringLiteral("The old per-workspace servers, with the key from the workspace "
                                   "(Settings \u203a Connect an app). Used only until your account has "
                                   "projects."),
                    OVFont::sans(9), OVLabel::Ink::tertiary));
    auto* split = new QHBoxLayout;
    body->addLayout(split);

    auto* listColumn = new QVBoxLayout;
    m_list = new QListWidget;
    m_list->setFixedWidth(190);
    m_list->setFixedHeight(96);
    connect(m_list, &QListWidget::currentRowChanged, this, [this](int row) {
        const QList<Workspace>& all = m_settings.workspaces();
        select(row >= 0 && row < all.size() ? std::optional(all[row].id) : std::nullopt);
    });
    listColumn->addWidget(m_list);
    auto* listButtons = new QHBoxLayout;
    auto* addButton = new OVButton(QStringLiteral("+"), {OVButtonStyle::Kind::ghost, 24});
    addButton->setObjectName(QStringLiteral("add"));
    addButton->setToolTip(QStringLiteral("Add a server"));
    connect(addButton, &QAbstractButton::clicked, this, &LegacySection::add);
    auto* removeButton = new OVButton(QStringLiteral("\u2212"), {OVButtonStyle::Kind::ghost, 24});
    removeButton->setObjectName(QStringLiteral("remove"));
    removeButton->setToolTip(QStringLiteral("Remove the chosen server"));
    connect(removeButton, &QAbstractButton::clicked, this, &LegacySection::removeChosen);
    listButtons->addWidget(addButton);
    listButtons->addWidget(removeButton);
    listButtons->addStretch(1);
    listColumn->addLayout(listButtons);
    split->addLayout(listColumn);

    auto* chosenColumn = new QVBoxLayout;
    split->addLayout(chosenColumn, 1);
    m_none = new OVLabel(QStringLiteral("Select a server"), OVFont::sans(10), OVLabel::Ink::tertiary);
    chosenColumn->addWidget(m_none);
    m_form = new QWidget;
    chosenColumn->addWidget(m_form);
    chosenColumn->addStretch(1);
    auto* form = new QFormLayout(m_form);
    form->setContentsMargins(0, 0, 0, 0);
    m_name = new QLineEdit;
    m_name->setObjectName(QStringLiteral("name"));
    connect(m_name, &QLineEdit::editingFinished, this,
            [this] { edit([name = m_name->text()](Workspace& w) { w.name = name; }); });
    m_server = new QLineEdit;
    m_server->setObjectName(QStringLiteral("server"));
    connect(m_server, &QLineEdit::editingFinished, this,
            [this] { edit([server = trimmed(m_server->text())](Workspace& w) { w.server = server; }); });
    m_key = new QLineEdit;
    m_key->setObjectName(QStringLiteral("key"));
    m_key->setEchoMode(QLineEdit::Password);
    connect(m_key, &QLineEdit::editingFinished, this, &LegacySection::storeKey);
    m_testButton = new OVButton(QStringLiteral("Test"), {OVButtonStyle::Kind::ghost});
    connect(m_testButton, &QAbstractButton::clicked, this, [this] { runTest(); });
    m_result = new OVLabel(QString(), OVFont::sans(9), OVLabel::Ink::secondary);
    m_result->setObjectName(QStringLiteral("result"));
    m_result->setTextInteractionFlags(Qt::TextSelectableByMouse);
    auto* testRow = new QHBoxLayout;
    testRow->addWidget(m_testButton);
    testRow->addWidget(m_result, 1);
    form->addRow(QStringLiteral("Name"), m_name);
    form->addRow(QStringLiteral("Server"), m_server);
    form->addRow(QStringLiteral("Key"), m_key);
    form->addRow(testRow);

    showList();
    showChosen();
    m_fold->setChecked(openAtFirst(m_settings));
    setOpen(m_fold->isChecked());
    // Keys arrive from the store after the window opens; the list changes with other ways in.
    connect(&m_settings, &Settings::changed, this, [this] {
        showList();
        showChosen();
    });
}

LegacySection::~LegacySection() {
    // A key typed and not yet finished with is kept as if the field had been left.
    storeKey();
}

bool LegacySection::isOpen() const {
    return m_fold->isChecked();
}

void LegacySection::setOpen(bool open) {
    if (m_fold->isChecked() != open) m_fold->setChecked(open);
    m_fold->setText((open ? QStringLiteral("\u25be ") : QStringLiteral("\u25b8 ")) + foldTitle);
    m_body->setVisible(open);
}

std::optional<Workspace> LegacySection::chosen() const {
    if (!m_selected) return std::nullopt;
    for (const Workspace& w : m_settings.workspaces())
        if (w.id == *m_selected) return w;
    return std::nullopt;
}

void LegacySection::select(const std::optional<QUuid>& id) {
    if (id == m_selected) return;
    storeKey();
    m_selected = id;
    // What was typed for the server chosen before is never shown for this one.
    for (QLineEdit* field : {m_name, m_server, m_key}) {
        field->clear();
        field->setModified(false);
    }
    showList();
    showChosen();
}

void LegacySection::showList() {
    const QSignalBlocker quiet(m_list);
    const QList<Workspace>& all = m_settings.workspaces();
    while (m_list->count() > all.size())
        delete m_list->takeItem(m_list->count() - 1);
    int current = -1;
    for (int i = 0; i < all.size(); ++i) {
        const QString title = trimmed(all[i].name).isEmpty() ? QStringLiteral("Untitled") : all[i].name;
        if (i == m_list->count()) m_list->addItem(title);
        if (m_list->item(i)->text() != title) m_list->item(i)->setText(title);
        if (m_selected == all[i].id) current = i;
    }
    if (current < 0) m_selected.reset();
    m_list->setCurrentRow(current);
}

// The fields show the chosen server, except what the user typed and has not finished with.
void LegacySection::showChosen() {
    const std::optional<Workspace> w = chosen();
    m_none->setVisible(!w);
    m_form->setVisible(w.has_value());
    if (!w) return;
    const auto show = [](QLineEdit* field, const QString& text) {
        if (!field->isModified() && field->text() != text) field->setText(text);
    };
    show(m_name, w->name);
    show(m_server, w->server);
    show(m_key, m_settings.key(*w));
    showTest();
}

void LegacySection::storeKey() {
    const std::optional<Workspace> w = chosen();
    if (!w || !m_key->isModified()) return;
    m_key->setModified(false);
    m_settings.setKey(m_key->text(), *w);
    m_key->setText(m_settings.key(*w));
}

void LegacySection::edit(const std::function<void(Workspace&)>& change) {
    m_name->setModified(false);
    m_server->setModified(false);
    QList<Workspace> all = m_settings.workspaces();
    for (Workspace& w : all)
        if (m_selected == w.id) change(w);
    if (all == m_settings.workspaces()) return;
    m_settings.setWorkspaces(all);
    if (m_onChange) m_onChange();
}

void LegacySection::add() {
    const Workspace made = Workspace::make(QStringLiteral("New workspace"), QStringLiteral("https://"));
    m_settings.setWorkspaces(m_settings.workspaces() + QList<Workspace>{made});
    select(made.id);
    m_name->setFocus();
    m_name->selectAll();
    if (m_onChange) m_onChange();
}

void LegacySection::removeChosen() {
    const std::optional<Workspace> w = chosen();
    if (!w) return;
    m_key->setModified(false); // the key goes with its server
    m_test.remove(w->id);
    m_settings.remove(*w);
    select(std::nullopt);
    if (m_onChange) m_onChange();
}

QCoro::Task<> LegacySection::runTest() {
    const std::optional<Workspace> w = chosen();
    if (!w || m_testing) co_return;
    const QPointer<LegacySection> self(this);
    m_testing = true;
    m_test.remove(w->id);
    showTest();
    QString result;
    try {
        const API api(m_settings.network(), w->base(), trimmed(m_key->text()), w->apiRoot);
        auto asking = api.me();
        result = QStringLiteral("\u2713 Connected as ") + co_await std::move(asking);
    } catch (const APIError& e) {
        result = e.errorDescription();
    }
    // A window closed meanwhile drops the answer with itself.
    if (!self) co_return;
    m_testing = false;
    m_test.insert(w->id, result);
    showTest();
}

void LegacySection::previewTest(const QString& result) {
    if (m_selected) m_test.insert(*m_selected, result);
    showTest();
}

void LegacySection::showTest() {
    m_testButton->setEnabled(!m_testing);
    m_result->setText(m_testing    ? QStringLiteral("Testing\u2026")
                      : m_selected ? m_test.value(*m_selected)
                                   : QString());
}
