#pragma once

#include "core/Workspace.h"

#include <QCoroTask>
#include <QHash>
#include <QUuid>
#include <QWidget>
#include <functional>
#include <optional>

class OVButton;
class OVLabel;
class QLineEdit;
class QListWidget;
class Settings;

// The old per-workspace servers, folded away: a list to add to and remove from, and for the chosen one its
// name, server and key, with a test of the key. Keys go to the secret store alone, trimmed, once the field is
// finished with (Return, leaving it, choosing another server, closing the window), never per keystroke:
// each write is a round trip to the store that may ask the user to unlock it.
class LegacySection : public QWidget {
    Q_OBJECT
public:
    LegacySection(Settings& settings, std::function<void()> onChange, QWidget* parent = nullptr);
    ~LegacySection() override;

    // Open at first when a legacy workspace exists and the account has no projects.
    static bool openAtFirst(const Settings& settings);
    bool isOpen() const;
    void setOpen(bool open);
    // Chooses a server, as a click in the list does.
    void select(const std::optional<QUuid>& id);
    const std::optional<QUuid>& selected() const { return m_selected; }
    // Shows a test's result without asking the server, for previews.
    void previewTest(const QString& result);

private:
    std::optional<Workspace> chosen() const;
    void showList();
    void showChosen();
    void storeKey();
    void edit(const std::function<void(Workspace&)>& change);
    void add();
    void removeChosen();
    QCoro::Task<> runTest();
    void showTest();

    Settings& m_settings;
    std::function<void()> m_onChange;
    std::optional<QUuid> m_selected;
    QHash<QUuid, QString> m_test; // the last test's result per workspace, forgotten with the window
    bool m_testing = false;

    OVButton* m_fold = nullptr;
    QWidget* m_body = nullptr;
    QListWidget* m_list = nullptr;
    OVLabel* m_none = nullptr;
    QWidget* m_form = nullptr;
    QLineEdit* m_name = nullptr;
    QLineEdit* m_server = nullptr;
    QLineEdit* m_key = nullptr;
    OVButton* m_testButton = nullptr;
    OVLabel* m_result = nullptr;
};
