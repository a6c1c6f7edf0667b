// Wall time of Mixer.mix for the files given: bench_mix OUT IN1 OFFSET1 [IN2 OFFSET2 ...]

#include "recording/AudioError.h"
#include "recording/Mixer.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 4 || argc % 2 != 0) {
        std::fprintf(stderr, "usage: bench_mix OUT IN OFFSET [IN OFFSET ...]\n");
        return 2;
    }
    QList<Mixer::Input> inputs;
    for (int i = 2; i + 1 < argc; i += 2)
        inputs.append({QString::fromLocal8Bit(argv[i]), std::atof(argv[i + 1])});
    const auto start = std::chrono::steady_clock::now();
    try {
        Mixer::mix(inputs, QString::fromLocal8Bit(argv[1]));
    } catch (const AudioError& error) {
        std::fprintf(stderr, "mix failed: %s\n", error.what());
        return 1;
    }
    const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::printf("Mixer.mix: %.2f s wall, output %.1f s\n", wall,
                Mixer::duration(QString::fromLocal8Bit(argv[1])));
    return 0;
}
