#pragma once

#include <QObject>
#include <QProcessEnvironment>
#include <QStringList>
#include <QVariantMap>
#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class QDBusConnection;
class QLocalServer;
class QLocalSocket;

// What a start asks of the copy that runs: its `orvane:` links in the order given (none: bring Orvane to
// the user) and the desktop's platform data, which carries the token that lets the window take the focus.
struct StartRequest {
    QStringList links;
    QVariantMap platformData;

    // The links among the arguments, and the startup id or activation token the desktop gave this start.
    static StartRequest fromStart(const QStringList& args, const QProcessEnvironment& env);
    static bool isLink(const QString& arg);
    // The activation token, else the X11 startup id; empty when the desktop gave neither.
    QString token() const;
};

// One running copy per user: the D-Bus name on the session bus with org.freedesktop.Application at its
// object, or a socket in the user's runtime folder where there is no bus. A later start hands its request to
// the copy that runs; requests reach the application through the signals once it is ready for them.
class SingleCopy : public QObject {
    Q_OBJECT
public:
    static inline const QString busName = QStringLiteral("app.orvane.Orvane");
    static inline const QString objectPath = QStringLiteral("/app/orvane/Orvane");

    enum class Claim { Ours, HandedOver, Unanswered };

    SingleCopy();
    ~SingleCopy() override;

    // Becomes the one copy, keeping the start's own links for after launch, or hands the request to the copy
    // that holds the name. A copy that is still coming up is given `patience` to answer.
    Claim claim(const StartRequest& start, std::chrono::milliseconds patience = std::chrono::seconds(20));
    // The application listens now: what came before goes out in order, what comes later at once.
    void ready();

    // The socket that stands in for the bus name, in the user's runtime folder.
    static QString socketPath();

signals:
    void activated(const QString& token);
    void opened(const QStringList& links, const QString& token);

private:
    friend class ApplicationAdaptor;

    std::optional<Claim> claimOnBus(QDBusConnection& bus, const StartRequest& start,
                                    std::chrono::steady_clock::time_point deadline);
    Claim claimSocket(const StartRequest& start, std::chrono::steady_clock::time_point deadline);
    void listen();
    void readRequest(QLocalSocket& socket);
    void receive(StartRequest request);
    void deliver(const StartRequest& request);

    bool m_ready = false;
    std::vector<StartRequest> m_waiting;
    int m_lock = -1;
    std::unique_ptr<QLocalServer> m_server;
};
