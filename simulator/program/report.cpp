#include "report.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>
#include <system_error>

namespace quor_simulator::program {
namespace {

using Json = nlohmann::ordered_json;

std::string Dump(const Json& json, int indent = -1) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

Json HttpJson(const RestStatistics& statistics) {
    Json endpoints = Json::object();
    for (const auto& [name, count] : statistics.endpoints) {
        endpoints[name] = {{"requests", count.requests},
                           {"good", count.good},
                           {"refused", count.refused},
                           {"faulty", count.faulty},
                           {"tokenRefused", count.tokenRefused}};
    }
    return {{"endpoints", endpoints},
            {"unknown", statistics.unknown},
            {"malformed", statistics.malformed},
            {"connectionsCut", statistics.connectionsCut}};
}

[[noreturn]] void FailToWrite(const std::string& path) {
    throw Error("cannot write " + path + ": " + std::error_code(errno, std::generic_category()).message());
}

}  // namespace

std::string ReadyJson(const Simulator& simulator) {
    Json json{{"port", simulator.port()}, {"caFile", simulator.caFile()}, {"pid", ::getpid()}};
    if (simulator.facePort() != 0) {
        json["facePort"] = simulator.facePort();
    }
    return Dump(json);
}

std::string StatisticsJson(Simulator& simulator, int indent) {
    const Statistics statistics = simulator.GetStatistics();
    const ScenarioResult scenario = simulator.GetScenarioResult();
    Json destinations = Json::object();
    std::uint64_t published = 0;
    std::uint64_t delivered = 0;
    for (const auto& [destination, count] : statistics.destinations) {
        destinations[destination] = {{"published", count.published},
                                     {"delivered", count.delivered},
                                     {"unheard", count.unheard},
                                     {"received", count.received}};
        published += count.published;
        delivered += count.delivered;
    }
    Json json;
    json["published"] = published;
    json["delivered"] = delivered;
    json["destinations"] = destinations;
    json["links"] = {{"accepted", statistics.linksAccepted},  {"refused", statistics.linksRefused},
                     {"ended", statistics.linksEnded},        {"dropped", statistics.linksDropped},
                     {"silent", statistics.silentLinksEnded}, {"upgrades401", statistics.upgrades401}};
    json["frames"] = {{"in", statistics.framesIn},
                      {"out", statistics.framesOut},
                      {"heartBeatsIn", statistics.heartBeatsIn},
                      {"heartBeatsOut", statistics.heartBeatsOut}};
    json["sendsReceived"] = statistics.sendsReceived;
    json["queueOverflows"] = statistics.queueOverflows;
    json["protocolErrors"] = statistics.protocolErrors;
    json["errors"] = statistics.lastErrors;
    json["http"] = HttpJson(simulator.rest().GetStatistics());
    json["scenario"] = {{"finished", scenario.finished},
                        {"actionsPlayed", scenario.actionsPlayed},
                        {"messagesPublished", scenario.messagesPublished},
                        {"messagesUnheard", scenario.messagesUnheard},
                        {"linkDrops", scenario.linkDrops}};
    return Dump(json, indent);
}

std::string StatisticsText(Simulator& simulator) {
    const Statistics statistics = simulator.GetStatistics();
    std::uint64_t published = 0;
    std::uint64_t unheard = 0;
    for (const auto& entry : statistics.destinations) {
        published += entry.second.published;
        unheard += entry.second.unheard;
    }
    RestCount http;
    for (const auto& entry : simulator.rest().GetStatistics().endpoints) {
        http.requests += entry.second.requests;
        http.refused += entry.second.refused;
        http.faulty += entry.second.faulty;
    }
    std::ostringstream text;
    text << published << " messages published, " << unheard << " unheard, " << statistics.sendsReceived
         << " received; links: " << statistics.linksAccepted << " accepted, " << statistics.linksRefused
         << " refused, " << statistics.linksDropped << " dropped; " << simulator.Subscriptions().size()
         << " subscriptions; " << statistics.protocolErrors << " protocol errors; " << http.requests
         << " HTTP requests, " << http.refused << " refused, " << http.faulty << " faulty";
    return text.str();
}

std::string AnswerJson(const std::string& command, bool ok, const std::string& answer) {
    return Dump({{"command", command}, {"ok", ok}, {"answer", answer}});
}

void WriteFileAtomically(const std::string& path, const std::string& text) {
    const std::string temporary = path + "." + std::to_string(::getpid()) + ".new";
    const int file = ::open(temporary.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0644);
    if (file < 0) {
        FailToWrite(path);
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(file, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            const int error = errno;
            ::close(file);
            ::unlink(temporary.c_str());
            errno = error;
            FailToWrite(path);
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    if (::close(file) != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
        FailToWrite(path);
    }
}

}  // namespace quor_simulator::program
