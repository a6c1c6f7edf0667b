#pragma once

#include "server/WrapStatus.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <optional>
#include <utility>

// Where one end-of-day run stands and what the server wrote: what the end-of-day window shows. Written by the
// run's task, read by the window; changed() follows every write. Main thread.
class WrapModel : public QObject {
    Q_OBJECT
public:
    using Card = std::pair<QString, QString>; // id, title

    explicit WrapModel(std::optional<QUrl> board = std::nullopt, QObject* parent = nullptr);

    const QString& phase() const { return m_phase; }
    bool running() const { return m_running; }
    const std::optional<QString>& summary() const { return m_summary; }
    const QList<QString>& highlights() const { return m_highlights; }
    const QList<QString>& tomorrow() const { return m_tomorrow; }
    const QList<Card>& cards() const { return m_cards; }
    const std::optional<QString>& error() const { return m_error; }
    const std::optional<QUrl>& board() const { return m_board; }

    void setPhase(const QString& phase);
    // The finished day: summary, highlights, tomorrow and the follow-ups.
    void setResult(const WrapStatus& done);
    void setError(const QString& error);
    // The run is over, whatever its outcome.
    void stop();

signals:
    void changed();

private:
    QString m_phase = QStringLiteral("Uploading today\u2019s activity\u2026");
    bool m_running = true;
    std::optional<QString> m_summary;
    QList<QString> m_highlights;
    QList<QString> m_tomorrow;
    QList<Card> m_cards;
    std::optional<QString> m_error;
    std::optional<QUrl> m_board;
};
