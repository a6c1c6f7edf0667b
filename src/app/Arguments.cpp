#include "app/Arguments.h"

Arguments::Arguments(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        m_list.append(QString::fromLocal8Bit(argv[i]));
}

bool Arguments::has(const QString& name) const {
    return m_list.contains(name);
}

std::optional<QString> Arguments::value(const QString& name) const {
    const qsizetype at = m_list.indexOf(name);
    if (at < 0 || at + 1 >= m_list.size()) return std::nullopt;
    return m_list.at(at + 1);
}

namespace {
std::optional<double> number(const std::optional<QString>& text) {
    if (!text) return std::nullopt;
    bool ok = false;
    const double value = text->toDouble(&ok);
    return ok ? std::optional<double>(value) : std::nullopt;
}
} // namespace

EntryMode EntryMode::decide(const Arguments& args) {
    if (args.has(QStringLiteral("--selftest"))) return {SelfTest};
    if (auto dir = args.value(QStringLiteral("--make-iconset"))) return {MakeIconset, *dir};
    if (auto dir = args.value(QStringLiteral("--render-previews"))) return {RenderPreviews, *dir};
    if (args.has(QStringLiteral("--rec-test")))
        return {RecTest, {}, number(args.value(QStringLiteral("--rec-test"))).value_or(5)};
    const bool beside = args.has(QStringLiteral("--dump-menu")) || args.has(QStringLiteral("--ui-check")) ||
                        args.has(QStringLiteral("--board-check"));
    return {Application, {}, 5, !beside};
}

LaunchModes LaunchModes::read(const Arguments& args) {
    LaunchModes m;
    m.preview = args.has(QStringLiteral("--preview"));
    m.wrap = args.has(QStringLiteral("--wrap"));
    m.retryPending = args.has(QStringLiteral("--retry-pending"));
    m.uiCheck = args.has(QStringLiteral("--ui-check"));
    m.signIn = args.has(QStringLiteral("--sign-in"));
    m.dumpMenu = args.has(QStringLiteral("--dump-menu"));
    m.dumpMenuDelay = number(args.value(QStringLiteral("--dump-menu-delay"))).value_or(4);
    m.boardCheck = args.has(QStringLiteral("--board-check"));
    return m;
}
