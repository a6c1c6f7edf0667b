#pragma once

#include "server/DeviceSignIn.h"

#include <QObject>
#include <QUrl>
#include <functional>
#include <optional>
#include <variant>

class Settings;

// The sign-in as the settings window and the menu show it: a state machine over the device-code flow.
class SignIn : public QObject {
    Q_OBJECT
public:
    struct Idle {
        bool operator==(const Idle&) const = default;
    };
    struct Starting {
        bool operator==(const Starting&) const = default;
    };
    struct Waiting {
        QString code;
        QUrl url;
        // False when no browser took the approval page: the window then shows its address to copy.
        bool pageOpened = true;
        bool operator==(const Waiting&) const = default;
    };
    struct Finishing {
        bool operator==(const Finishing&) const = default;
    };
    struct Failed {
        QString message;
        bool operator==(const Failed&) const = default;
    };
    using Phase = std::variant<Idle, Starting, Waiting, Finishing, Failed>;

    // `openBrowser` shows the approval page and answers whether a browser took it.
    explicit SignIn(std::function<bool(const QUrl&)> openBrowser, QObject* parent = nullptr);
    // A flow still running stops at its next sleep or request: it sends through the settings' network
    // manager, which may go with this.
    ~SignIn() override;

    const Phase& phase() const { return m_phase; }
    bool busy() const;
    // The code while waiting for the approval.
    std::optional<QString> code() const;

    // Starts the flow against the settings' platform, unless one runs.
    void begin(Settings& settings);
    // Opens the approval page again while waiting.
    void reopen();
    // Ends the flow at its next sleep or request; nothing is stored.
    void cancel();
    // Sets a phase directly, for previews of the views.
    void preview(const Phase& phase);

    std::function<void()> onSignedIn;

signals:
    void phaseChanged();

private:
    QCoro::Task<> run(QString base, Settings* settings, CancelFlag cancelled);
    void enter(Phase phase);

    std::function<bool(const QUrl&)> m_openBrowser;
    Phase m_phase = Idle{};
    CancelFlag m_cancelled; // of the running flow
};
