// SPDX-License-Identifier: Apache-2.0
// What a scrape of a big fleet costs the watcher: 1,000 BMCs with 10 active faults each, served
// by the watcher's own web server on a free port of 127.0.0.1, fetched as Prometheus fetches
// /metrics, and the wall's /api/bmcs beside it. Prints the times; asserts nothing.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <httplib.h>
#include "tools/diagpanel/watch/fleet_metrics.hpp"

#include "tools/diagpanel/watch/web/web_server.hpp"

namespace {

constexpr int kBmcs = 1000;
constexpr int kFaultsEach = 10;
constexpr int kScrapes = 21;
constexpr double kGoalMs = 100;

diagpanel::BmcView busyBmc(int n)
{
    diagpanel::BmcView view;
    view.board = "0x01030103";
    view.labels = {{"rack", "r" + std::to_string(n / 40)}, {"site", "lab"}};
    view.status.condition = diagpanel::BmcCondition::Following;
    view.status.records = 100 + n;
    view.status.commands = 5000 + n;
    view.status.lastAnswer = 1764000000;
    view.status.lastRecord = 1763990000;
    view.code = 0x00009d98;
    for (int i = 0; i < kFaultsEach; ++i) {
        char index[4];
        snprintf(index, sizeof index, "%02X", 0xB0 + i);
        view.faults.push_back({1, "memory", index, 1u << i, 1 + i % 3});
    }
    return view;
}

struct Figures {
    double first;  // the server writes every line
    double median; // of the others: the steady lines kept
    double slowest;
    std::size_t bytes;
};

Figures fetch(httplib::Client &client, const char *path)
{
    std::vector<double> times;
    std::size_t bytes = 0;
    for (int i = 0; i < kScrapes; ++i) {
        const auto start = std::chrono::steady_clock::now();
        const httplib::Result got = client.Get(path);
        const auto end = std::chrono::steady_clock::now();
        if (!got || got->status != 200) {
            fprintf(stderr, "bench_scrape: GET %s failed\n", path);
            exit(1);
        }
        bytes = got->body.size();
        times.push_back(std::chrono::duration<double, std::milli>(end - start).count());
    }
    const double first = times.front();
    times.erase(times.begin());
    std::sort(times.begin(), times.end());
    return {first, times[times.size() / 2], times.back(), bytes};
}

} // namespace

int main()
{
    diagpanel::FleetView fleet;
    for (int n = 0; n < kBmcs; ++n) {
        fleet.update("bmc-" + std::to_string(n) + ".example.com:623", busyBmc(n));
    }
    std::string why;
    const auto server = diagpanel::WebServer::start("127.0.0.1:0", {}, fleet, "", why);
    if (!server) {
        fprintf(stderr, "bench_scrape: %s\n", why.c_str());
        return 1;
    }
    // In this thread: the first text, every line written, then the next, the steady lines kept.
    diagpanel::FleetMetrics page(fleet);
    const auto start = std::chrono::steady_clock::now();
    const std::size_t size = page.text().size();
    const auto first = std::chrono::steady_clock::now();
    page.text();
    const auto again = std::chrono::steady_clock::now();
    printf("Metrics text: %.1f ms at first, %.1f ms after (%zu bytes)\n",
           std::chrono::duration<double, std::milli>(first - start).count(),
           std::chrono::duration<double, std::milli>(again - first).count(), size);
    httplib::Client client("127.0.0.1", server->port());
    client.set_default_headers({{"Accept-Encoding", "gzip"}}); // as Prometheus asks
    client.set_decompress(false);
    const Figures metrics = fetch(client, "/metrics");
    const Figures tiles = fetch(client, "/api/bmcs");
    printf("Scrape of %d BMCs with %d faults each, gzip, %d times: /metrics %.1f ms the first, "
           "then %.1f ms median, %.1f ms slowest, %zu bytes; /api/bmcs %.1f ms median, %zu "
           "bytes\n",
           kBmcs, kFaultsEach, kScrapes, metrics.first, metrics.median, metrics.slowest,
           metrics.bytes, tiles.median, tiles.bytes);
    printf("ROW|watch: a scrape of 1,000 BMCs with 10 faults each|%.1f ms (slowest %.1f; the "
           "first after start %.1f)|%.0f ms|%s\n",
           metrics.median, metrics.slowest, metrics.first, kGoalMs,
           metrics.slowest <= kGoalMs ? "met" : "missed");
}
