#pragma once

#include <QProcess>
#include <memory>
#include <vector>

// A busy desktop of other programs: fifty windows (Python Tk windows, each its own process, that name no
// process id of their own) and ten recording streams on the microphone (parec).
constexpr int windowCount = 50;
constexpr int recorderCount = 10;

struct Desktop {
    std::vector<std::unique_ptr<QProcess>> programs;

    Desktop() {
        for (int i = 0; i < windowCount + recorderCount; ++i) {
            auto program = std::make_unique<QProcess>();
            if (i < windowCount)
                program->start(QStringLiteral("/usr/bin/python3"),
                               {QStringLiteral(ORVANE_TK_WINDOW), QStringLiteral("editor%1").arg(i % 7),
                                QStringLiteral("Document %1 - Editor").arg(i)});
            else
                program->start(QStringLiteral("parec"),
                               {QStringLiteral("--raw"), QStringLiteral("/dev/null")});
            programs.push_back(std::move(program));
        }
        for (int i = 0; i < windowCount; ++i)
            waitFor(*programs[size_t(i)], "window");
    }
    ~Desktop() {
        for (auto& program : programs) {
            program->closeWriteChannel();
            if (program->program() == QLatin1String("parec")) program->terminate();
        }
        for (auto& program : programs)
            program->waitForFinished(5000);
    }
    static void waitFor(QProcess& program, const char* word) {
        while (program.waitForReadyRead(30000) || program.canReadLine()) {
            while (program.canReadLine()) {
                if (program.readLine().startsWith(word)) return;
            }
        }
    }
};

inline Desktop& desktop() {
    static Desktop d;
    return d;
}
