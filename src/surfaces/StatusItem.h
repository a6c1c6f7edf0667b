#pragma once

#include "surfaces/TrayAnchor.h"

#include <QIcon>
#include <QList>
#include <QObject>
#include <QTimer>
#include <array>
#include <chrono>
#include <functional>
#include <memory>

class QDBusServiceWatcher;
class QSystemTrayIcon;

// The tray icon: the mark, blinking while a recording runs; the state in its tooltip, since no tray shows
// text beside an icon; and every click on it, for the panel. Shows in a StatusNotifierItem host (Plasma,
// GNOME's AppIndicator extension, waybar) or an XEmbed tray, and says when there is neither. Main thread
// only.
class StatusItem : public QObject {
    Q_OBJECT
public:
    enum class Phase { idle, busy, recording }; // busy: a recording is starting or being saved
    struct Look {
        Phase phase = Phase::idle;
        double elapsed = 0; // seconds recorded
        QString upload;     // the upload state in a line, shown under the name when idle; empty for none
    };
    struct Needs {
        // Whether an XEmbed tray runs on the display now.
        std::function<bool()> xembedTrayRuns;
    };
    static constexpr std::chrono::milliseconds blinkInterval{500};

    explicit StatusItem(Needs needs, QObject* parent = nullptr);
    ~StatusItem() override;

    // Sets the tooltip when its text changes and the mark when the phase does; blinks only while recording.
    void update(const Look& look);
    bool hostAvailable() const { return m_hostAvailable; }
    bool blinking() const { return m_blink.isActive(); }

    static QString toolTip(const Look& look);

signals:
    void activated(TrayAnchor anchor);
    void hostChanged(bool available);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private slots:
    void statusNotifierHostRegistered();

private:
    enum Mark { idle, recording, recordingDot };

    void drawIcons();
    void makeTray();
    void showMark(Mark mark);
    void watcherOwnerChanged(const QString& newOwner);
    void setHostAvailable(bool available);

    Needs m_needs;
    std::array<QIcon, 3> m_icons;
    bool m_darkScheme = false;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    bool m_viaStatusNotifier = false; // else XEmbed; Qt keeps the kind it took first for the process's life
    QDBusServiceWatcher* m_watcher;
    bool m_hostAvailable = false;
    Mark m_mark = idle;
    QString m_toolTip = QStringLiteral("Orvane");
    QTimer m_blink;
};
