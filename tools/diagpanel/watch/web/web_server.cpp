// SPDX-License-Identifier: Apache-2.0
#include "tools/diagpanel/watch/web/web_server.hpp"

#include <atomic>
#include <optional>
#include <thread>

#include <httplib.h>

#include "tools/diagpanel/watch/fleet_metrics.hpp"
#include "tools/diagpanel/watch/web/pages.hpp"
#include "tools/diagpanel/watch/web/timeline_drawing.hpp"

namespace diagpanel {

namespace {

// Each event stream holds a server thread while it lasts: a few threads stay for scrapes and
// pages however many walls are open.
constexpr std::size_t kThreads = 40;
constexpr int kMostStreams = 32;
constexpr std::chrono::seconds kKeepAlive{15}; // a stream's comment line while nothing changes
constexpr time_t kSocketTimeout = 10;          // seconds a read or write may wait

std::string dump(const nlohmann::json &value)
{
    return value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// One reader of /events: what it was sent last, so that it is sent each change once.
struct Stream {
    std::string only; // a BMC's name: its changes alone
    uint64_t version = 0;
    bool started = false;
    std::map<std::string, std::string> sent; // each tile as last sent

    // The next message: every tile at first, then the tiles that changed, waiting for a change
    // up to kKeepAlive (then a comment line, which also finds a reader gone). Empty at the end.
    std::string next(const FleetView &fleet)
    {
        const bool first = !started;
        started = true;
        const FleetView::Changes changes =
            fleet.changesSince(version, first ? std::chrono::milliseconds(0) : kKeepAlive);
        if (changes.closed) {
            return {};
        }
        version = changes.version;
        nlohmann::json message = {{"tiles", nlohmann::json::array()}};
        if (first) {
            message["all"] = true;
        }
        for (const auto &[bmc, view] : changes.changed) {
            nlohmann::json tile = tileJson(bmc, view);
            std::string text = dump(tile);
            if ((only.empty() || bmc == only) && sent[bmc] != text) {
                message["tiles"].push_back(std::move(tile));
                sent[bmc] = std::move(text);
            }
        }
        for (const std::string &bmc : changes.removed) {
            if ((only.empty() || bmc == only) && sent.erase(bmc) != 0) {
                message["removed"].push_back(bmc);
            }
        }
        const bool quiet = !first && message["tiles"].empty() && !message.contains("removed");
        return quiet ? ": nothing new\n\n" : "data: " + dump(message) + "\n\n";
    }
};

class HttpWebServer final : public WebServer
{
  public:
    HttpWebServer(const WebConfig &config, FleetView &fleet, const std::string &program)
        : fleet_(fleet), metrics_(fleet), timelines_(program)
    {
        if (config.certFile) {
            server_ = std::make_unique<httplib::SSLServer>(config.certFile->c_str(),
                                                           config.keyFile->c_str());
            tls_ = true;
        } else {
            server_ = std::make_unique<httplib::Server>();
        }
        if (!config.users.empty()) {
            gate_.emplace(config.users);
        }
    }
    ~HttpWebServer() override
    {
        fleet_.close(); // the event streams end, and their threads with them
        server_->stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    bool start(const std::string &listen, const WebConfig &config, std::string &why)
    {
        if (!server_->is_valid()) {
            why = "cannot use the certificate " + config.certFile.value_or("") + " with the key " +
                  config.keyFile.value_or("");
            return false;
        }
        const std::size_t colon = listen.rfind(':');
        std::string host = listen.substr(0, colon);
        if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
            host = host.substr(1, host.size() - 2); // [::1]
        }
        const int asked = colon == std::string::npos ? -1 : atoi(listen.c_str() + colon + 1);
        if (asked < 0 || asked > 65535) {
            why = "cannot listen on " + listen + ": not ADDR:PORT";
            return false;
        }
        route();
        port_ = asked == 0 ? server_->bind_to_any_port(host)
                           : (server_->bind_to_port(host, asked) ? asked : -1);
        if (port_ <= 0) {
            why = "cannot listen on " + listen;
            return false;
        }
        thread_ = std::thread([this] { server_->listen_after_bind(); });
        return true;
    }
    int port() const override { return port_; }
    bool tls() const { return tls_; }

  private:
    void route();

    FleetView &fleet_;
    FleetMetrics metrics_;
    TimelineDrawing timelines_;
    std::unique_ptr<httplib::Server> server_;
    bool tls_ = false;
    std::optional<Gate> gate_;
    std::atomic<int> streams_ = 0;
    int port_ = 0;
    std::thread thread_;
};

void HttpWebServer::route()
{
    server_->new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    server_->set_read_timeout(kSocketTimeout);
    server_->set_write_timeout(kSocketTimeout);
    // Every path asks for the credentials, when there are users: without them, 401 and nothing.
    server_->set_pre_routing_handler([this](const httplib::Request &req, httplib::Response &res) {
        if (!gate_ || gate_->admits(req.get_header_value("Authorization"))) {
            return httplib::Server::HandlerResponse::Unhandled;
        }
        res.status = 401;
        res.set_header("WWW-Authenticate", "Basic realm=\"diagpanel\"");
        res.set_content("Unauthorized\n", "text/plain");
        return httplib::Server::HandlerResponse::Handled;
    });
    server_->Get("/metrics", [this](const httplib::Request &, httplib::Response &res) {
        res.set_content(metrics_.text(), "text/plain; version=0.0.4; charset=utf-8");
    });
    server_->Get("/", [](const httplib::Request &, httplib::Response &res) {
        res.set_content(wallPage(), "text/html; charset=utf-8");
    });
    server_->Get("/bmc/(.+)/timeline.svg", [this](const httplib::Request &req,
                                                  httplib::Response &res) {
        const std::string bmc = req.matches[1];
        const std::optional<BmcView> view = fleet_.one(bmc);
        const std::optional<std::string> drawing = view ? timelines_.of(bmc, *view) : std::nullopt;
        if (drawing) {
            res.set_content(*drawing, "image/svg+xml");
        } else {
            res.status = 404;
            res.set_content("no timeline of that BMC\n", "text/plain");
        }
    });
    server_->Get("/bmc/(.+)", [this](const httplib::Request &req, httplib::Response &res) {
        const std::string bmc = req.matches[1];
        if (const std::optional<BmcView> view = fleet_.one(bmc)) {
            res.set_content(bmcPage(bmc, *view), "text/html; charset=utf-8");
        } else {
            res.status = 404;
            res.set_content("no BMC of that name is followed here\n", "text/plain");
        }
    });
    server_->Get("/api/bmcs", [this](const httplib::Request &, httplib::Response &res) {
        nlohmann::json tiles = nlohmann::json::array();
        fleet_.forEach([&](const std::string &bmc, const BmcView &view) {
            tiles.push_back(tileJson(bmc, view));
        });
        res.set_content(dump(tiles) + '\n', "application/json");
    });
    // The tiles as server-sent events, so that a wall never polls; ?bmc=NAME: that BMC alone.
    server_->Get("/events", [this](const httplib::Request &req, httplib::Response &res) {
        if (streams_.fetch_add(1) >= kMostStreams) {
            --streams_;
            res.status = 503;
            res.set_content("too many event streams open\n", "text/plain");
            return;
        }
        auto stream = std::make_shared<Stream>();
        stream->only = req.get_param_value("bmc");
        res.set_header("Cache-Control", "no-store");
        res.set_chunked_content_provider(
            "text/event-stream",
            [this, stream](std::size_t, httplib::DataSink &sink) {
                const std::string text = stream->next(fleet_);
                if (text.empty()) {
                    sink.done();
                    return true;
                }
                return sink.write(text.data(), text.size());
            },
            [this](bool) { --streams_; });
    });
}

} // namespace

std::unique_ptr<WebServer> WebServer::start(const std::string &listen, const WebConfig &config,
                                            FleetView &fleet, const std::string &program,
                                            std::string &why)
{
    auto server = std::make_unique<HttpWebServer>(config, fleet, program);
    if (!server->start(listen, config, why)) {
        return nullptr;
    }
    return server;
}

} // namespace diagpanel
