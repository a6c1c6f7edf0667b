#include "app/Previews.h"

#include "app/IconSet.h"
#include "app/PanelPreviews.h"
#include "app/SingleCopy.h"
#include "app/WrapSamples.h"
#include "board/window/Board.h"
#include "core/Keychain.h"
#include "core/Paths.h"
#include "os/FileSecretStore.h"
#include "os/linux/CommandKeys.h"
#include "os/linux/XdgAutostart.h"
#include "server/Platform.h"
#include "server/Settings.h"
#include "server/SignIn.h"
#include "surfaces/Browser.h"
#include "surfaces/HUDViews.h"
#include "surfaces/HotKeys.h"
#include "surfaces/NudgeCard.h"
#include "surfaces/Nudges.h"
#include "surfaces/PrompterView.h"
#include "surfaces/SettingsLegacy.h"
#include "surfaces/SettingsView.h"
#include "surfaces/StatusIcon.h"
#include "surfaces/WelcomeView.h"
#include "surfaces/WrapView.h"
#include "surfaces/design/Appearance.h"
#include "surfaces/design/Kbd.h"
#include "surfaces/design/LiveMeter.h"
#include "surfaces/design/OVButton.h"
#include "surfaces/design/OVCard.h"
#include "surfaces/design/OVChip.h"
#include "surfaces/design/OVFont.h"
#include "surfaces/design/OVLabel.h"
#include "surfaces/design/OVRow.h"
#include "surfaces/design/OVSection.h"
#include "surfaces/design/Orb.h"
#include "surfaces/design/Wordmark.h"
#include "voice/NoteCard.h"
#include "voice/VoicePillPanel.h"
#include "workday/WrapModel.h"

#include <QBoxLayout>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <QWebEngineView>

#include <QNetworkAccessManager>
#include <QPainter>
#include <QTemporaryDir>
#include <memory>

namespace Previews {
namespace {

// The window ground behind a picture, so that each component shows as it does in a surface.
class Backdrop : public QWidget {
public:
    explicit Backdrop(ColorScheme scheme) { fixScheme(this, scheme); }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), palOf(this).bg); }
};

constexpr qreal scale = 2; // pictures at double density, as on a sharp screen

void save(QWidget* content, ColorScheme scheme, const QString& path) {
    Backdrop backdrop(scheme);
    auto* layout = new QVBoxLayout(&backdrop);
    layout->setContentsMargins(16, 16, 16, 16);
    layout->addWidget(content);
    backdrop.adjustSize();
    QImage image((QSizeF(backdrop.size()) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    backdrop.render(&image);
    image.save(path);
}

// Lays the given components out in a column or a row.
QWidget* group(std::initializer_list<QWidget*> parts, Qt::Orientation orientation = Qt::Vertical) {
    auto* box = new QWidget;
    auto* layout =
        new QBoxLayout(orientation == Qt::Vertical ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight, box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    for (QWidget* part : parts)
        layout->addWidget(part);
    return box;
}

QWidget* fixedWidth(QWidget* widget, int width) {
    widget->setFixedWidth(width);
    return widget;
}

using Make = std::function<QWidget*()>;

std::vector<std::pair<QString, Make>> components() {
    using Kind = OVButtonStyle::Kind;
    return {
        {QStringLiteral("section"),
         [] {
             return fixedWidth(group({new OVSection({QStringLiteral("Up next"), QStringLiteral("3")}),
                                      new OVSection({QStringLiteral("Projects"), std::nullopt})}),
                               300);
         }},
        {QStringLiteral("chips"),
         [] {
             return group({new OVChip({QStringLiteral("Plain"), Tone::plain}),
                           new OVChip({QStringLiteral("Accent"), Tone::accent}),
                           new OVChip({QStringLiteral("Red"), Tone::red}),
                           new OVChip({QStringLiteral("Amber"), Tone::amber}),
                           new OVChip({QStringLiteral("Silver"), Tone::silver})},
                          Qt::Horizontal);
         }},
        {QStringLiteral("kbd"),
         [] {
             return group({new Kbd({QStringLiteral("Ctrl+Alt+R")}), new Kbd({QStringLiteral("Ctrl+,")}),
                           new Kbd({QStringLiteral("hold Ctrl+Alt+Space")})},
                          Qt::Horizontal);
         }},
        {QStringLiteral("wordmark"),
         [] {
             return group({new Wordmark(), new Wordmark({16})});
         }},
        {QStringLiteral("card"),
         [] {
             const auto text = [](const QString& line) {
                 return new OVLabel(line, OVFont::sans(10), OVLabel::Ink::text);
             };
             return fixedWidth(
                 group({new OVCard({}, text(QStringLiteral("A card with a hairline and a shadow."))),
                        new OVCard({14, true}, text(QStringLiteral("A card with the accent glow.")))}),
                 320);
         }},
        {QStringLiteral("buttons"),
         [] {
             return fixedWidth(
                 group({group({new OVButton(QStringLiteral("Tune in"), {Kind::primary}),
                               new OVButton(QStringLiteral("Later"), {Kind::ghost}),
                               new OVButton(QStringLiteral("Skip"), {Kind::quiet}),
                               new OVButton(QStringLiteral("Delete"), {Kind::danger})},
                              Qt::Horizontal),
                        new OVButton(QStringLiteral("Open board"), {Kind::ghost, 36, true, true}),
                        new OVButton(QStringLiteral("Wrap up"), {Kind::primary, 36, true})}),
                 340);
         }},
        {QStringLiteral("rows"),
         [] {
             return fixedWidth(
                 group({new OVRow({QStringLiteral("gearshape"), QStringLiteral("Settings…"), std::nullopt,
                                   false, false, QStringLiteral("Ctrl+,"), OVRowValue::Trailing::key}),
                        new OVRow({QStringLiteral("square.grid.2x2"), QStringLiteral("Launch plan"),
                                   QStringLiteral("Owner · seat"), true, false, QStringLiteral("arrow.right"),
                                   OVRowValue::Trailing::symbol}),
                        new OVRow({QStringLiteral("clock"), QStringLiteral("Today 3 h tracked"), std::nullopt,
                                   false, false, QStringLiteral("12:30"), OVRowValue::Trailing::text}),
                        new OVRow({std::nullopt, QStringLiteral("Nothing up next"), std::nullopt, false, true,
                                   std::nullopt})}),
                 320);
         }},
        {QStringLiteral("orb"),
         [] {
             QWidget* box = new QWidget;
             auto* layout = new QHBoxLayout(box);
             layout->setContentsMargins(0, 0, 0, 0);
             for (int size : {28, 64, 128}) {
                 auto* orb = new Orb({size, true}, Motion(false));
                 orb->setSnapshot(true);
                 layout->addWidget(orb, 0, Qt::AlignVCenter);
             }
             return box;
         }},
    };
}

struct Sample {
    const char* kind;
    const char* icon;
    const char* title;
    const char* message;
    std::vector<std::pair<const char*, bool>> buttons; // title, primary
    bool stacked = false;
    const char* name = nullptr; // the picture's name where one kind has several; else the kind
};

const std::vector<Sample>& samples() {
    static const std::vector<Sample> all = {
        {"call",
         "\u260F",
         "Call in Google Meet — tune in?",
         "“Meet - abc-defg-hij - Google Chrome”\nRecords screen & audio: mic = you, system audio = the other "
         "side. "
         "You choose where it goes after.",
         {{"Not now", false}, {"Tune in", true}}},
        {"callEnded",
         "\u25A0",
         "Call ended — wrap up?",
         "Nobody else has used the mic for 20 seconds.",
         {{"Keep going", false}, {"Wrap up", true}}},
        {"recording",
         "\u260F",
         "Orvane active on your Zoom call",
         "Recording screen & audio: mic = you, system audio = the other side. Ctrl+Alt+P adds a pin.",
         {{"Wrap up", false}, {"OK", true}}},
        {"stopped", "/", "Session stopped", "What was recorded so far is being saved.", {}},
        {"streamError",
         "/",
         "Session stopped by the system",
         "The screen stream ended.\nWhat was recorded so far is being saved.",
         {}},
        {"saved", "/", "Session saved", "“Weekly sync” is in Launch plan.", {}},
        {"route",
         "/",
         "Where does this go?",
         "Mentions the launch plan twice.",
         {{"Launch plan", true}, {"Personal", false}, {"Somewhere else…", false}},
         true},
        {"card",
         "/",
         "Where does this card go?",
         nullptr,
         {{"Launch plan", true}, {"Personal", false}},
         true},
        {"move", "/", "Moved to Launch plan", "“Weekly sync”", {{"Open", true}}},
        {"filed",
         "/",
         "Filed in Launch plan",
         "“Weekly sync” · talks about the launch. Move it from the menu if that’s wrong.",
         {}},
        {"tip",
         "/",
         "Their pricing leads with the annual plan",
         "Worth comparing with how ours reads on mobile.\nCard: Compare our pricing page with theirs",
         {{"Got it", false}, {"Add as card…", true}}},
        {"tip",
         "/",
         "The leaderboard filter shipped last week",
         "Mention it if the filter comes up.",
         {{"Got it", true}},
         false,
         "tip-without-card"},
        {"review",
         "/",
         "Review ready — Weekly sync",
         "2 suggestions to look at. Each one asks where it goes.",
         {{"Later", false}, {"Open", true}}},
        {"upload",
         "/",
         "Sign in to send it",
         "“Weekly sync” is saved on this computer, not sent yet. It uploads as soon as you are signed in.",
         {{"Later", false}, {"Sign in", true}}},
        {"personalSoon",
         "/",
         "Kept on this computer — Personal opens soon",
         "“Weekly sync” stays private here and goes up to Personal by itself once it opens.",
         {}},
        {"break",
         "/",
         "Time for a break — 90 min straight",
         "Look at something far away for a minute.",
         {{"In 10 min", false}, {"Taking it", true}}},
        {"workout",
         "/",
         "Workout time",
         "Move your body for a bit — the to-dos will still be here.",
         {{"In 30 min", false}, {"On it", true}}},
        {"wrap",
         "/",
         "End your day?",
         "Orvane summarises today and adds the follow-ups to your inbox.",
         {{"Later", false}, {"End my day", true}}},
        {"preview", "/", "A look at the coach", "This is how the coach speaks up.", {}},
        {"voice",
         "/",
         "Heard “what time is it”",
         "Start with “screenshot”, “note” or “card”.",
         {{"Save as note", true}, {"Dismiss", false}}},
        {"voiceCard",
         "/",
         "Add a card to Launch plan?",
         "Send the brief to Mara",
         {{"Add card", true}, {"Cancel", false}}},
        {"cardDone", "/", "Added to Launch plan · New from chat", "Call the printer", {}},
        {"tipDone", "/", "Added to your day (Personal)", "Ask who owns the rollout", {}},
        {"todo", "/", "Couldn’t update “Call the printer”", "This workspace needs an update.", {}},
    };
    return all;
}

NudgeView viewOf(const Sample& s) {
    NudgeView view{QString::fromUtf8(s.icon),
                   QString::fromUtf8(s.title),
                   std::nullopt,
                   {},
                   s.stacked,
                   std::nullopt,
                   Tone::plain,
                   [] {}};
    if (s.message) view.message = QString::fromUtf8(s.message);
    for (const auto& [title, primary] : s.buttons)
        view.buttons.push_back({QString::fromUtf8(title), primary, [] {}});
    if (const std::optional<NudgeTag> tag = NudgeView::tagFor(QString::fromLatin1(s.kind))) {
        view.tag = tag->text;
        view.tone = tag->tone;
    }
    return view;
}

// The alerts of tuning in, with the texts they show.
std::vector<std::pair<QString, Alert>> alerts() {
    return {
        {QStringLiteral("no-mic"),
         {QStringLiteral("No microphone found"),
          QStringLiteral(
              "Without the mic Orvane records only the other side and your screen. To include your "
              "voice, connect a microphone or choose one in the sound settings, then tune in again."),
          {QStringLiteral("Tune in without mic"), QStringLiteral("Open Sound Settings"),
           QStringLiteral("Cancel")}}},
        {QStringLiteral("no-screen"),
         {QStringLiteral("Orvane has no screen to record"),
          QStringLiteral(
              "Orvane runs outside a desktop session (no display). Start it from your desktop, then "
              "tune in again."),
          {QStringLiteral("Cancel")}}},
        {QStringLiteral("start-failed"),
         {QStringLiteral("Could not tune in"),
          QStringLiteral("The recordings folder could not be created."),
          {QStringLiteral("OK")}}},
    };
}

// The recording panel's faces, twelve and a half minutes into a recording.
struct HUDSample {
    const char* name;
    HUDModel::Mode mode;
    std::function<void(HUDModel&)> state;
};

const std::vector<HUDSample>& hudSamples() {
    using Kind = FeedItem::Kind;
    static const std::vector<HUDSample> all = {
        {"pill", HUDModel::Mode::pill, [](HUDModel&) {}},
        {"card-empty", HUDModel::Mode::card, [](HUDModel&) {}},
        {"card-rows", HUDModel::Mode::card,
         [](HUDModel& m) {
             m.add(Kind::info, QStringLiteral("No sound from your mic for 60 s"));
             m.add(Kind::nowIn, QStringLiteral("Figma — Launch plan"));
             m.add(Kind::slide, QStringLiteral("screenshot saved — Q3 roadmap"));
             m.add(Kind::pinned, QStringLiteral("Region of Figma"));
             m.add(Kind::noted, QStringLiteral("“ship the beta on the 14th”"));
             m.add(Kind::heard, QStringLiteral("“let's move the launch to Thursday and tell the printer”"));
         }},
        {"card-tips", HUDModel::Mode::card,
         [](HUDModel& m) {
             m.add(Kind::tip, QStringLiteral("Ask who owns the rollout"));
             m.add(Kind::card, QStringLiteral("Call the printer"));
         }},
        {"card-hearing", HUDModel::Mode::card,
         [](HUDModel& m) {
             m.setHearing(true);
             m.add(Kind::heard, QStringLiteral("“the pricing page leads with the annual plan”"));
         }},
        {"card-listening", HUDModel::Mode::card,
         [](HUDModel& m) {
             m.setHearing(true);
             m.setListening(true);
         }},
        {"card-silent", HUDModel::Mode::card,
         [](HUDModel& m) { m.setTracks(HUDModel::Track::silent, HUDModel::Track::sound); }},
        {"pill-silent", HUDModel::Mode::pill,
         [](HUDModel& m) { m.setTracks(HUDModel::Track::silent, HUDModel::Track::sound); }},
        {"card-no-mic", HUDModel::Mode::card, [](HUDModel& m) { m.reset(m.started(), false); }},
        {"dot", HUDModel::Mode::dot, [](HUDModel&) {}},
        {"dot-silent", HUDModel::Mode::dot,
         [](HUDModel& m) { m.setTracks(HUDModel::Track::sound, HUDModel::Track::silent); }},
    };
    return all;
}

QWidget* hudView(const HUDSample& sample) {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const Clock clock = [now]() -> const QDateTime& { return now; };
    auto* holder = new QWidget;
    auto* model = new HUDModel(clock, holder);
    auto* meter = new LiveMeter(&LiveMeter::Clock::now, holder);
    meter->feedMic(0.05f);
    model->reset(now.addSecs(-754), true);
    model->set(sample.mode);
    sample.state(*model);
    HUDView* view = nullptr;
    switch (sample.mode) {
    case HUDModel::Mode::pill:
        view = new HUDPill(*model, meter, Motion(false), clock);
        break;
    case HUDModel::Mode::card:
        view = new HUDCard(*model, meter, Motion(false), clock);
        break;
    case HUDModel::Mode::dot:
        view = new HUDDot(*model);
        break;
    }
    view->setSnapshot(true);
    auto* layout = new QVBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view, 0, Qt::AlignLeft);
    return holder;
}

// Pictures open no pages.
struct NoBrowser final : Browser {
    bool open(const QUrl&) override { return false; }
};

// The settings window in each state of the account, on settings and a key store of its own that go with it.
class SettingsPictures {
public:
    struct Sample {
        const char* name;
        std::function<void(Settings&, SignIn&)> state;
        bool legacyTested = false;
        os::HotKeySource::Reach keys = os::HotKeySource::Reach::program;
    };

    static std::vector<Sample> samples() {
        const QUrl page(QStringLiteral("https://orvane.app/app/device?code=WXYZ-1234"));
        const auto signedIn = [](Settings& s, const std::optional<QString>& error) {
            s.signIn(QStringLiteral("key"), QStringLiteral("ada@example.com"),
                     QStringLiteral("Ada Lovelace"));
            Workspace launch = Workspace::make(QStringLiteral("Launch plan"),
                                               QStringLiteral("https://orvane.app/app/p/launch"));
            launch.slug = QStringLiteral("launch");
            Workspace research = Workspace::make(QStringLiteral("Research"),
                                                 QStringLiteral("https://orvane.app/app/p/research"));
            research.slug = QStringLiteral("research");
            s.apply({QStringLiteral("ada@example.com"), QStringLiteral("Ada Lovelace"), std::nullopt},
                    {launch, research});
            s.setAccountError(error);
        };
        return {
            {"signed-out", [](Settings&, SignIn&) {}},
            {"getting-code", [](Settings&, SignIn& in) { in.preview(SignIn::Starting{}); }},
            {"code",
             [page](Settings&, SignIn& in) {
                 in.preview(SignIn::Waiting{QStringLiteral("WXYZ-1234"), page});
             }},
            {"code-no-browser",
             [page](Settings&, SignIn& in) {
                 in.preview(SignIn::Waiting{QStringLiteral("WXYZ-1234"), page, false});
             }},
            {"failed",
             [](Settings&, SignIn& in) {
                 in.preview(SignIn::Failed{QStringLiteral("The sign-in was declined in the browser.")});
             }},
            {"signed-in", [signedIn](Settings& s, SignIn&) { signedIn(s, std::nullopt); }},
            {"account-error",
             [signedIn](Settings& s, SignIn&) {
                 signedIn(s,
                          QStringLiteral("the sign-in is no longer valid \u2014 sign out and sign in again"));
             }},
            {"legacy-tested", [](Settings&, SignIn&) {}, true},
            {"keys-desktop", [](Settings&, SignIn&) {}, false, os::HotKeySource::Reach::desktop},
            {"keys-commands", [](Settings&, SignIn&) {}, false, os::HotKeySource::Reach::commands},
        };
    }

    void render(const Sample& sample, ColorScheme scheme, const QString& path) {
        QTemporaryDir dir;
        os::FileSecretStore secrets(dir.filePath(QStringLiteral("secrets.json")));
        Keychain keychain(secrets, QStringLiteral("orvane.previews"));
        QSettings store(dir.filePath(QStringLiteral("orvane.conf")), QSettings::IniFormat);
        const auto network = API::makeNetwork();
        Settings settings(store, keychain, *network);
        SignIn signIn([](const QUrl&) { return true; });
        sample.state(settings, signIn);
        // A folder with no entry: the toggle shows off.
        os::XdgAutostart loginStart(dir.filePath(QStringLiteral("autostart")), QStringLiteral("orvane"));
        auto* view = new SettingsView({settings, signIn, m_browser, [] {}, [] {}, [] {}},
                                      {&loginStart, [] {}, keyGuide(sample.keys)});
        view->useScheme(scheme);
        if (sample.legacyTested) {
            view->legacy()->select(settings.workspaces().first().id);
            view->legacy()->previewTest(QStringLiteral("\u2713 Connected as Ada Lovelace"));
        }
        view->setFixedWidth(660);
        save(view, scheme, path);
    }

private:
    // The commands as a running copy shows them, from keys that are on no bus.
    static KeyGuide keyGuide(os::HotKeySource::Reach reach) {
        if (reach != os::HotKeySource::Reach::commands) return {reach, {}};
        os::CommandKeys commands(QDBusConnection(QStringLiteral("none")), SingleCopy::busName);
        return HotKeys(commands).guide();
    }

    NoBrowser m_browser;
};

// The end-of-day window while the server writes and as a run leaves it.
std::vector<std::pair<QString, std::function<void(WrapModel&)>>> wrapStates() {
    const auto finished = [](bool highlights) {
        return [highlights](WrapModel& m) {
            WrapStatus day = WrapSamples::day();
            if (!highlights) day.highlights.clear();
            m.setResult(day);
            m.stop();
        };
    };
    return {
        {QStringLiteral("running"), [](WrapModel&) {}},
        {QStringLiteral("complete"), finished(true)},
        {QStringLiteral("no-highlights"), finished(false)},
        {QStringLiteral("error"),
         [](WrapModel& m) {
             m.setError(QStringLiteral("The summary model timed out. Try again in a few minutes."));
             m.stop();
         }},
    };
}

QWidget* wrapView(const std::function<void(WrapModel&)>& state, ColorScheme scheme) {
    static NoBrowser browser;
    auto model = std::make_shared<WrapModel>(QUrl(QStringLiteral("https://orvane.app/app/p/launch/#/board")));
    state(*model);
    auto* view = new WrapView(model, browser);
    view->useScheme(scheme);
    return view;
}

void renderDesign(const QString& dir) {
    const std::pair<ColorScheme, QLatin1String> schemes[] = {{ColorScheme::dark, QLatin1String("dark")},
                                                             {ColorScheme::light, QLatin1String("light")}};
    for (const auto& [scheme, schemeName] : schemes) {
        for (const auto& [name, make] : components())
            save(make(), scheme, QStringLiteral("%1/design-%2-%3.png").arg(dir, name, schemeName));
        for (const PanelSample& sample : panelSamples())
            save(sample.make(), scheme,
                 QStringLiteral("%1/panel-%2-%3.png").arg(dir, sample.name, schemeName));
        for (const Sample& sample : samples())
            save(new NudgeCard(viewOf(sample)), scheme,
                 QStringLiteral("%1/nudge-%2-%3.png")
                     .arg(dir, QLatin1String(sample.name ? sample.name : sample.kind), schemeName));
        const std::pair<const char*, PillDisplay::Model> pills[] = {
            {"listening", {true, {}}},
            {"heard", {true, QStringLiteral("take a screenshot of the leaderboard")}},
            {"missed", {false, {}}}};
        for (const auto& [name, model] : pills)
            save(makePillCard(model, false), scheme,
                 QStringLiteral("%1/pill-%2-%3.png").arg(dir, QLatin1String(name), schemeName));
        for (const auto& [name, alert] : alerts())
            save(fixedWidth(new PrompterView(alert, [](const QString&) {}), 420), scheme,
                 QStringLiteral("%1/alert-%2-%3.png").arg(dir, name, schemeName));
        for (const HUDSample& sample : hudSamples())
            save(hudView(sample), scheme,
                 QStringLiteral("%1/hud-%2-%3.png").arg(dir, QLatin1String(sample.name), schemeName));
        SettingsPictures settings;
        for (const SettingsPictures::Sample& sample : SettingsPictures::samples())
            settings.render(
                sample, scheme,
                QStringLiteral("%1/settings-%2-%3.png").arg(dir, QLatin1String(sample.name), schemeName));
        for (const auto& [name, state] : wrapStates())
            save(wrapView(state, scheme), scheme,
                 QStringLiteral("%1/wrap-%2-%3.png").arg(dir, name, schemeName));
        for (const bool signedIn : {false, true}) {
            auto* welcome = new WelcomeView({signedIn, {}});
            welcome->useScheme(scheme);
            save(welcome, scheme,
                 QStringLiteral("%1/welcome-%2-%3.png")
                     .arg(dir, signedIn ? QStringLiteral("signed-in") : QStringLiteral("signed-out"),
                          schemeName));
        }
    }
}

// The tray mark at 22 px as a panel shows it, idle, recording and recording with the dot, in a row for a
// light and a dark desktop; one picture for a light panel, one for a dark; each also at double density.
void renderTray(const QString& dir) {
    constexpr int size = 22, gap = 10;
    const std::pair<QLatin1String, QColor> panels[] = {{QLatin1String("light"), QColor(0xF2, 0xF2, 0xF2)},
                                                       {QLatin1String("dark"), QColor(0x1E, 0x1E, 0x1E)}};
    const std::pair<bool, bool> marks[] = {{false, false}, {true, false}, {true, true}};
    for (const auto& [name, colour] : panels)
        for (const int density : {1, 2}) {
            QImage panel((3 * size + 4 * gap) * density, (2 * size + 3 * gap) * density,
                         QImage::Format_RGB32);
            panel.fill(colour);
            QPainter p(&panel);
            for (const bool darkDesktop : {false, true})
                for (int i = 0; i < 3; ++i)
                    p.drawImage(
                        QPoint(gap + i * (size + gap), gap + int(darkDesktop) * (size + gap)) * density,
                        StatusIcon::slash(size * density, marks[i].first, marks[i].second, darkDesktop));
            p.end();
            panel.save(QStringLiteral("%1/tray-%2-panel%3.png")
                           .arg(dir, name, density == 1 ? QString() : QStringLiteral("@2x")));
        }
}

// The page the board shows when the platform cannot be reached, as the engine draws it.
void renderBoardFailure(const QString& dir) {
    QWebEngineView view; // the engine's default profile keeps nothing on disk
    view.resize(960, 600);
    view.page()->setBackgroundColor(Board::darkBG);
    QEventLoop loaded;
    QObject::connect(&view, &QWebEngineView::loadFinished, &loaded, &QEventLoop::quit);
    QTimer::singleShot(std::chrono::seconds(30), &loaded, &QEventLoop::quit);
    view.setHtml(Board::failurePage(Platform::defaultBase, QStringLiteral("net::ERR_CONNECTION_REFUSED")));
    view.show();
    loaded.exec();
    // The view paints a moment after the load: wait until the text is on it.
    QImage image;
    QDeadlineTimer painted(std::chrono::seconds(10));
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
        image = view.grab().toImage();
    } while (!painted.hasExpired() && Board::isBlank(image));
    image.save(dir + QStringLiteral("/board-failure.png"));
}

} // namespace

void render(const QString& dir) {
    Paths::ensure(dir);
    renderTray(dir);
    writeIconSet(dir + QStringLiteral("/iconset"));
    renderDesign(dir);
    renderBoardFailure(dir);
    NoteCard::image(
        QStringLiteral("Their pricing page leads with the annual plan; ask whether the monthly price "
                       "is still on offer for teams under ten seats."))
        .save(dir + QStringLiteral("/note-card.png"));
}
} // namespace Previews
