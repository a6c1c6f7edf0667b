#pragma once

#include <QStringList>
#include <optional>

// The process arguments, matched as whole strings anywhere after the program name; a mode's value is the
// element right after it. Nothing is parsed beyond that and nothing unknown is refused.
class Arguments {
public:
    explicit Arguments(QStringList list) : m_list(std::move(list)) {}
    Arguments(int argc, char** argv);

    bool has(const QString& name) const;
    // The element after the first occurrence of name, when there is one.
    std::optional<QString> value(const QString& name) const;
    const QStringList& list() const { return m_list; }

private:
    QStringList m_list; // without the program name
};

// The modes decided before the application starts; the first that applies wins.
struct EntryMode {
    enum Kind { SelfTest, MakeIconset, RenderPreviews, RecTest, Application };
    Kind kind = Application;
    QString dir;            // MakeIconset, RenderPreviews
    double seconds = 5;     // RecTest
    bool singleCopy = true; // Application: refuse to run beside another copy

    static EntryMode decide(const Arguments& args);
};

// The modes read at the end of the start sequence; none excludes another.
struct LaunchModes {
    bool preview = false;
    bool wrap = false;
    bool retryPending = false;
    bool uiCheck = false;
    bool signIn = false;
    bool dumpMenu = false;
    double dumpMenuDelay = 4;
    bool boardCheck = false;

    static LaunchModes read(const Arguments& args);
    // Runs that need no screen and no tray: settings, the session store and the HTTP client.
    bool headless() const { return retryPending || dumpMenu; }
    // Started as a user starts it: no mode that opens a window of its own or runs a check.
    bool plain() const { return !preview && !uiCheck && !signIn && !boardCheck && !headless(); }
};
