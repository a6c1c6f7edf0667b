#include "board/window/BoardWindow.h"

#include "surfaces/design/Symbol.h"

#include <QAction>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QShortcut>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWebEnginePage>
#include <QWebEngineView>

namespace {

constexpr int titleWidth = 420;

QIcon symbolIcon(const QString& name, const QColor& ink) {
    QPixmap pixmap(QSize(32, 32));
    pixmap.setDevicePixelRatio(2);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    Symbol::paint(painter, name, QRectF(0, 0, 16, 16), ink);
    return QIcon(pixmap);
}

} // namespace

BoardWindow::BoardWindow(QWebEnginePage* page, Actions actions)
    : m_view(new QWebEngineView(this)), m_toolbar(new QToolBar(this)), m_title(new QLabel(this)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Orvane"));
    setMinimumSize(720, 460);
    resize(1280, 820);

    m_toolbar->setMovable(false);
    m_toolbar->setIconSize(QSize(16, 16));
    m_back = m_toolbar->addAction(QStringLiteral("Back"), actions.back);
    m_forward = m_toolbar->addAction(QStringLiteral("Forward"), actions.forward);
    auto* left = new QWidget(m_toolbar);
    left->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    m_toolbar->addWidget(left);
    QFont font = m_title->font();
    font.setPointSizeF(12 * 0.75 * 96 / 72.0);
    font.setWeight(QFont::DemiBold);
    m_title->setFont(font);
    m_title->setMaximumWidth(titleWidth);
    m_title->setAlignment(Qt::AlignCenter);
    m_toolbar->addWidget(m_title);
    auto* right = new QWidget(m_toolbar);
    right->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    m_toolbar->addWidget(right);
    m_reload = m_toolbar->addAction(QStringLiteral("Reload"), actions.reload);
    m_back->setToolTip(QStringLiteral("Back"));
    m_forward->setToolTip(QStringLiteral("Forward"));
    m_reload->setToolTip(QStringLiteral("Reload"));

    m_view->setPage(page);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_toolbar);
    layout->addWidget(m_view, 1);
    setAutoFillBackground(true);
    addKeys(actions);
    setPageTitle({});
    revalidate();
}

void BoardWindow::addKeys(const Actions& actions) {
    const auto bind = [this](std::initializer_list<QKeySequence> keys, const std::function<void()>& run) {
        for (const QKeySequence& key : keys) {
            auto* shortcut = new QShortcut(key, this);
            connect(shortcut, &QShortcut::activated, this, run);
        }
    };
    bind({QKeySequence(Qt::CTRL | Qt::Key_BracketLeft), QKeySequence(Qt::ALT | Qt::Key_Left)}, actions.back);
    bind({QKeySequence(Qt::CTRL | Qt::Key_BracketRight), QKeySequence(Qt::ALT | Qt::Key_Right)},
         actions.forward);
    bind({QKeySequence(Qt::CTRL | Qt::Key_R), QKeySequence(Qt::Key_F5)}, actions.reload);
    bind({QKeySequence(Qt::CTRL | Qt::Key_0)}, actions.zoomReset);
    bind({QKeySequence(Qt::CTRL | Qt::Key_Equal), QKeySequence(Qt::CTRL | Qt::Key_Plus)}, actions.zoomIn);
    bind({QKeySequence(Qt::CTRL | Qt::Key_Minus)}, actions.zoomOut);
    bind({QKeySequence(Qt::CTRL | Qt::Key_O)}, actions.home);
    bind({QKeySequence(Qt::CTRL | Qt::Key_Comma)}, actions.settings);
    bind({QKeySequence(Qt::CTRL | Qt::Key_Q)}, actions.quit);
    bind({QKeySequence(Qt::CTRL | Qt::Key_W)}, [this] { close(); });
    bind({QKeySequence(Qt::CTRL | Qt::Key_M)}, [this] { showMinimized(); });
}

void BoardWindow::setPageTitle(const QString& title) {
    const QString shown = title.trimmed().isEmpty() ? QStringLiteral("Orvane") : title.trimmed();
    setWindowTitle(shown);
    m_title->setText(m_title->fontMetrics().elidedText(shown, Qt::ElideMiddle, titleWidth));
}

void BoardWindow::revalidate() {
    QWebEnginePage* page = m_view->page();
    m_back->setEnabled(page && page->action(QWebEnginePage::Back)->isEnabled());
    m_forward->setEnabled(page && page->action(QWebEnginePage::Forward)->isEnabled());
}

void BoardWindow::setChrome(const QColor& background, bool light) {
    const QColor ink = light ? QColor(20, 22, 26) : QColor(243, 245, 248);
    const QColor secondary = light ? QColor(90, 94, 102) : QColor(163, 168, 176);
    QPalette palette = this->palette();
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, ink);
    palette.setColor(QPalette::ButtonText, ink);
    palette.setColor(QPalette::Button, background);
    setPalette(palette);
    m_toolbar->setStyleSheet(QStringLiteral("QToolBar { background: %1; border: none; padding: 4px 8px; }")
                                 .arg(background.name()));
    // The toolbar's style sheet reaches its children: the title's colour has to be one too.
    m_title->setStyleSheet(QStringLiteral("color: %1;").arg(secondary.name()));
    m_back->setIcon(symbolIcon(QStringLiteral("chevron.left"), ink));
    m_forward->setIcon(symbolIcon(QStringLiteral("chevron.right"), ink));
    m_reload->setIcon(symbolIcon(QStringLiteral("arrow.clockwise"), ink));
    if (QWebEnginePage* page = m_view->page()) page->setBackgroundColor(background);
}

void BoardWindow::closeEvent(QCloseEvent* event) {
    emit closing();
    event->accept();
}
