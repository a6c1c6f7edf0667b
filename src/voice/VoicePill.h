#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <chrono>
#include <memory>
#include <optional>

// Where the pill is drawn: a panel at the top of the screen in the app, nothing in the flows' tests.
class PillDisplay {
public:
    struct Model {
        bool listening = false;
        QString text;
        bool operator==(const Model&) const = default;
    };
    virtual ~PillDisplay() = default;
    virtual void present(const Model& model) = 0;
    virtual void withdraw() = 0;
};

// The small panel that shows what push-to-talk hears: "Listening…", the words so far, or the outcome for a
// few seconds. Main thread.
class VoicePill : public QObject {
    Q_OBJECT
public:
    using Model = PillDisplay::Model;

    explicit VoicePill(std::unique_ptr<PillDisplay> display, QObject* parent = nullptr);
    ~VoicePill() override;

    // Shows the pill; a pending hide is cancelled, and with `hideAfter` it hides again after that long.
    void show(bool listening, const QString& text,
              std::optional<std::chrono::milliseconds> hideAfter = std::nullopt);
    void update(const QString& text);
    void hide();

    const Model& model() const { return m_model; }
    bool visible() const { return m_visible; }
    // What the pill reads: the text, or "Listening…" or "Didn’t catch that" when it has none.
    static QString caption(const Model& model);

signals:
    void changed();

private:
    std::unique_ptr<PillDisplay> m_display;
    Model m_model;
    bool m_visible = false;
    QTimer m_hide;
};
