#pragma once

#include <QProcess>
#include <QTest>
#include <optional>

namespace testsupport {

// Another program on the desktop, ended when the test is done with it.
class Program {
public:
    Program(const QString& program, const QStringList& args) {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(program, args);
    }
    ~Program() {
        m_process.closeWriteChannel();
        m_process.terminate();
        if (!m_process.waitForFinished(5000)) m_process.kill();
        m_process.waitForFinished();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    // Waits for the line that the program prints once it is ready.
    bool waitFor(const QByteArray& line) {
        return QTest::qWaitFor(
                   [&] {
                       while (m_process.canReadLine()) {
                           if (m_process.readLine().trimmed() == line) return true;
                       }
                       return !m_process.waitForReadyRead(100) && m_process.state() == QProcess::NotRunning;
                   },
                   30000) &&
               m_process.state() == QProcess::Running;
    }
    qint32 pid() const { return qint32(m_process.processId()); }

private:
    QProcess m_process;
};

// Runs a tool of the test environment; its standard output when it succeeded.
inline std::optional<QByteArray> run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0)
        return std::nullopt;
    return process.readAllStandardOutput();
}

// A Python program's Tk window of the given class and title (tests/workday/tk_window.py).
inline std::unique_ptr<Program> tkWindow(const QString& script, const QString& windowClass,
                                         const QString& title) {
    return std::make_unique<Program>(QStringLiteral("/usr/bin/python3"),
                                     QStringList{script, windowClass, title});
}

} // namespace testsupport
