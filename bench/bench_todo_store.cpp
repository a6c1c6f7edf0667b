// TodoStore.refresh over ten destinations whose to-do lists each answer after 300 ms: the wall time of one
// refresh, against one destination alone and against the ten asked one after another. The destinations are
// ten local platforms (ten servers, as ten workspaces on their own hosts are); a second figure puts ten
// projects on one platform, where Qt's HTTP/1.1 limit of six connections per host applies.
//
// Run: bench_todo_store [rounds]

#include "support/Await.h"
#include "support/LocalPlatform.h"
#include "workday/TodoStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <algorithm>
#include <cstdio>

using namespace std::chrono_literals;

namespace {

constexpr auto delay = 300ms;

TodoStore::Target target(QNetworkAccessManager& network, const LocalPlatform& platform, const QString& slug,
                         int n) {
    Workspace ws{QUuid::createUuid(),
                 QStringLiteral("P%1").arg(n),
                 platform.base() + QStringLiteral("/app/p/") + slug,
                 slug,
                 std::nullopt,
                 platform.base() + QStringLiteral("/api/v1/p/") + slug};
    return {ws, API(network, ws.server, QStringLiteral("dev-key"), ws.apiRoot)};
}

// The next to-do list of each platform answers `delay` late.
void slowDown(const std::vector<std::unique_ptr<LocalPlatform>>& platforms) {
    for (const auto& p : platforms)
        p->fault({QStringLiteral("/api/v1/p/*"), 0, {}, {}, QStringLiteral("GET"), delay, 1});
}

// Milliseconds of one refresh, the median of `rounds`.
double median(int rounds, const std::function<void()>& slow, const std::function<void()>& refresh) {
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        slow();
        QElapsedTimer clock;
        clock.start();
        refresh();
        times.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const int rounds = argc > 1 ? std::max(1, QString::fromLocal8Bit(argv[1]).toInt()) : 7;
    QNetworkAccessManager network;

    std::vector<std::unique_ptr<LocalPlatform>> platforms;
    for (int i = 0; i < 10; ++i) {
        platforms.push_back(std::make_unique<LocalPlatform>());
        if (!platforms.back()->isRunning()) {
            std::fprintf(stderr, "%s\n", qPrintable(platforms.back()->error()));
            return 1;
        }
    }
    QList<TodoStore::Target> tenServers, oneServer;
    const QString slugs[] = {QStringLiteral("brevik"), QStringLiteral("noctal"), QStringLiteral("client-x")};
    for (int i = 0; i < 10; ++i) {
        tenServers.append(target(network, *platforms[std::size_t(i)], QStringLiteral("brevik"), i));
        oneServer.append(target(network, *platforms.front(), slugs[i % 3], i));
    }

    TodoStore store;
    const auto refresh = [&](const QList<TodoStore::Target>& targets) {
        return [&store, targets] { testsupport::await(store.refresh(targets)); };
    };
    // Warm the connections, as the timer's refreshes find them.
    refresh(tenServers)();

    const auto slowFirst = [&](int requests) {
        return [&platforms, requests] {
            platforms.front()->fault(
                {QStringLiteral("/api/v1/p/*"), 0, {}, {}, QStringLiteral("GET"), delay, requests});
        };
    };
    const double one = median(rounds, slowFirst(1), refresh(tenServers.mid(0, 1)));
    const double ten = median(
        rounds, [&] { slowDown(platforms); }, refresh(tenServers));
    const double inTurn = median(
        rounds, [&] { slowDown(platforms); },
        [&] {
            for (const TodoStore::Target& t : tenServers)
                refresh({t})();
        });
    const double sameHost = median(rounds, slowFirst(10), refresh(oneServer));

    std::printf("TodoStore.refresh, each to-do list answering after %lld ms, median of %d rounds:\n",
                static_cast<long long>(delay.count()), rounds);
    std::printf("  one destination:                      %7.1f ms\n", one);
    std::printf("  ten servers at once:                  %7.1f ms  (%.2f x one delay)\n", ten,
                ten / double(delay.count()));
    std::printf("  reference, the ten asked in turn:     %7.1f ms\n", inTurn);
    std::printf("  ten projects on one platform (HTTP/1.1, 6 connections per host): %7.1f ms\n", sameHost);
    std::printf("  items after the last refresh: %lld\n", static_cast<long long>(store.items().size()));
    return 0;
}
