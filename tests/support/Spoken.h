#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

// Sentences said by a speech synthesiser, made when the test runs (the repository keeps no recordings), as a
// decoder takes them: 16 kHz, mono, signed 16-bit.
namespace spoken {

constexpr int rate = 16000;

// What `speaker` writes as WAV on its standard output, converted, with a quarter second of silence on each
// side as a push-to-talk round has; empty when the synthesiser or the converter is missing.
inline std::vector<int16_t> converted(const QString& speaker, const QStringList& arguments) {
    QProcess synthesiser;
    QProcess converter;
    synthesiser.setStandardOutputProcess(&converter);
    synthesiser.start(speaker, arguments);
    converter.start(QStringLiteral("ffmpeg"),
                    {QStringLiteral("-loglevel"), QStringLiteral("error"), QStringLiteral("-i"),
                     QStringLiteral("pipe:0"), QStringLiteral("-af"),
                     QStringLiteral("adelay=250,apad=pad_dur=0.25"), QStringLiteral("-ar"),
                     QString::number(rate), QStringLiteral("-ac"), QStringLiteral("1"), QStringLiteral("-f"),
                     QStringLiteral("s16le"), QStringLiteral("pipe:1")});
    synthesiser.waitForFinished(30000);
    converter.waitForFinished(30000);
    const QByteArray raw = converter.readAllStandardOutput();
    std::vector<int16_t> samples(size_t(raw.size()) / 2);
    std::memcpy(samples.data(), raw.constData(), samples.size() * 2);
    return samples;
}

// `text` in `voice` (an espeak-ng voice, "en-us+m3") at `wordsPerMinute`.
inline std::vector<int16_t> say(const QString& text, const QString& voice = QStringLiteral("en-us"),
                                int wordsPerMinute = 160) {
    return converted(QStringLiteral("espeak-ng"),
                     {QStringLiteral("-v"), voice, QStringLiteral("-s"), QString::number(wordsPerMinute),
                      QStringLiteral("--stdout"), text});
}

// `text` in a flite voice made from recordings of a person ("slt", "rms", "awb", "kal16"), closer to human
// speech than espeak-ng's formants; `stretch` above 1 speaks more slowly.
inline std::vector<int16_t> sayInRecordedVoice(const QString& text, const QString& voice,
                                               double stretch = 1) {
    return converted(QStringLiteral("flite"),
                     {QStringLiteral("-voice"), voice, QStringLiteral("--setf"),
                      QStringLiteral("duration_stretch=") + QString::number(stretch), QStringLiteral("-t"),
                      text, QStringLiteral("-o"), QStringLiteral("/dev/stdout")});
}

// White noise added at `snrDb` below the speech's own level; the same `seed` gives the same noise.
inline std::vector<int16_t> withNoise(std::vector<int16_t> samples, double snrDb, unsigned seed = 1) {
    double power = 0;
    for (int16_t s : samples)
        power += double(s) * s;
    const double rms = std::sqrt(power / double(std::max<size_t>(samples.size(), 1)));
    std::mt19937 random(seed);
    std::normal_distribution<double> noise(0, rms * std::pow(10, -snrDb / 20));
    for (int16_t& s : samples)
        s = int16_t(std::clamp(double(s) + noise(random), -32768.0, 32767.0));
    return samples;
}

// Noise alone for `seconds`, about as loud as quiet speech (-30 dBFS).
inline std::vector<int16_t> noise(double seconds, unsigned seed = 2) {
    std::vector<int16_t> samples(size_t(seconds * rate));
    std::mt19937 random(seed);
    std::normal_distribution<double> hiss(0, 1000);
    for (int16_t& s : samples)
        s = int16_t(std::clamp(hiss(random), -32768.0, 32767.0));
    return samples;
}

} // namespace spoken
