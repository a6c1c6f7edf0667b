#include "surfaces/DialogPrompter.h"

#include "core/Log.h"
#include "surfaces/ActivateWhenShown.h"
#include "surfaces/PrompterView.h"
#include "surfaces/design/Appearance.h"

#include <QAbstractButton>
#include <QApplication>
#include <QBoxLayout>
#include <QDialog>
#include <QKeyEvent>
#include <QPainter>
#include <QTimer>

namespace {

bool hasDisplay() {
    if (!qobject_cast<QApplication*>(QCoreApplication::instance())) return false;
    const QString platform = QGuiApplication::platformName();
    return platform != QLatin1String("offscreen") && platform != QLatin1String("minimal");
}

// The dialog around one alert. `answer` runs once, when the dialog finishes: with the button pressed, or
// with nothing when it was closed.
class AlertDialog : public QDialog {
public:
    AlertDialog(const Alert& alert, std::function<void(std::optional<QString>)> answer,
                std::function<void(WId)> activate)
        : m_answer(std::move(answer)) {
        setWindowTitle(alert.title);
        setAttribute(Qt::WA_DeleteOnClose);
        activateWhenShown(*this, std::move(activate));
        auto* layout = new QVBoxLayout(this);
        layout->setContentsMargins(20, 20, 20, 16);
        m_view = new PrompterView(alert, [this](const QString& button) {
            m_chosen = button;
            accept();
        });
        layout->addWidget(m_view);
        setFixedWidth(460);
        connect(this, &QDialog::finished, this, [this] {
            if (m_answer) std::exchange(m_answer, {})(m_chosen);
        });
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), palOf(this).bg); }

    void keyPressEvent(QKeyEvent* event) override {
        // QDialog presses only a QPushButton on Return; the design's buttons are not.
        if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) {
            if (QAbstractButton* button = m_view->defaultButton()) button->click();
            return;
        }
        QDialog::keyPressEvent(event);
    }

private:
    std::function<void(std::optional<QString>)> m_answer;
    PrompterView* m_view = nullptr;
    std::optional<QString> m_chosen;
};

} // namespace

DialogPrompter::DialogPrompter(std::function<void(WId window)> activate) : m_activate(std::move(activate)) {}

DialogPrompter::~DialogPrompter() {
    // An alert left open would answer into a caller that may be gone too.
    for (const QPointer<QDialog>& dialog : std::as_const(m_open))
        delete dialog.data();
}

void DialogPrompter::ask(Alert alert, std::function<void(std::optional<QString> button)> answered) {
    if (!hasDisplay()) {
        slog(QStringLiteral("alert: %1 (no display) -> Cancel").arg(alert.title));
        QTimer::singleShot(0, &m_alive, [answered = std::move(answered)] { answered(std::nullopt); });
        return;
    }
    m_open.removeAll(nullptr);
    auto* dialog = new AlertDialog(alert, std::move(answered), m_activate);
    m_open.append(dialog);
    dialog->open();
}
