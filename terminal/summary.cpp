#include "summary.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <system_error>

#include "output.h"

namespace quor_terminal {
namespace {

using Json = nlohmann::ordered_json;

unsigned int Reconnects(const Summary& summary) {
    return summary.connects > 0 ? summary.connects - 1 : 0;
}

Json TextCountsJson(const TextCounts& counts) {
    return {{"final", counts.final}, {"interim", counts.interim}, {"duplicates", counts.duplicates}};
}

void AppendLine(std::string& out, const char* label, const std::string& text) {
    std::string line = "  ";
    line += label;
    line.resize(18, ' ');
    out += line + text + "\n";
}

std::string TextCountsText(const TextCounts& counts) {
    return std::to_string(counts.final) + " final, " + std::to_string(counts.interim) + " interim, " +
           std::to_string(counts.duplicates) + " doubled";
}

}  // namespace

std::string SummaryText(const Summary& summary) {
    const StatisticsSnapshot& counts = summary.counts;
    std::string out = "Summary\n";
    AppendLine(out, "captions", TextCountsText(counts.captions));
    AppendLine(out, "translations", TextCountsText(counts.translations));
    AppendLine(out, "check-ins",
               std::to_string(counts.checkins) + " people in " + std::to_string(counts.checkinMessages) +
                   " messages");
    if (summary.wholeConference) {
        AppendLine(out, "control", std::to_string(counts.controls) + " messages");
        AppendLine(
            out, "sites",
            std::to_string(counts.sites) + " sites in " + std::to_string(counts.siteMessages) + " messages");
        AppendLine(out, "overlay", std::to_string(counts.overlays) + " switches of this terminal");
    }
    AppendLine(out, "link",
               std::to_string(summary.connects) + " connects, " + std::to_string(summary.losses) +
                   " losses, " + std::to_string(Reconnects(summary)) + " reconnects");
    if (counts.unreadable > 0) {
        AppendLine(out, "unreadable", std::to_string(counts.unreadable) + " results");
    }
    std::array<char, 32> seconds{};
    std::snprintf(seconds.data(), seconds.size(), "%.1f s", summary.seconds);
    AppendLine(out, "time", seconds.data());
    return out;
}

std::string SummaryJson(const Summary& summary) {
    const StatisticsSnapshot& counts = summary.counts;
    Json byId = Json::object();
    for (std::size_t id = 0; id < counts.resultsById.size(); ++id) {
        if (counts.resultsById[id] > 0) {
            byId[std::to_string(id)] = counts.resultsById[id];
        }
    }
    const Json document = {
        {"resultsById", byId},
        {"captions", TextCountsJson(counts.captions)},
        {"translations", TextCountsJson(counts.translations)},
        {"checkins", {{"messages", counts.checkinMessages}, {"people", counts.checkins}}},
        {"control", {{"messages", counts.controls}}},
        {"sites", {{"messages", counts.siteMessages}, {"sites", counts.sites}}},
        {"overlay", {{"messages", counts.overlays}}},
        {"unreadable", counts.unreadable},
        {"link",
         {{"connects", summary.connects}, {"losses", summary.losses}, {"reconnects", Reconnects(summary)}}},
        {"seconds", summary.seconds},
        {"exitCode", summary.exitCode}};
    return document.dump(2) + "\n";
}

bool WriteFileWhole(const std::string& path, const std::string& text, std::string& message) {
    const std::string next = path + ".new";
    const int fd = open(next.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    bool ok = fd >= 0 && WriteAll(fd, text);
    int error = ok ? 0 : errno;
    if (fd >= 0 && close(fd) != 0 && ok) {
        ok = false;
        error = errno;
    }
    if (ok && std::rename(next.c_str(), path.c_str()) != 0) {
        ok = false;
        error = errno;
    }
    if (!ok) {
        message = path + ": " + std::generic_category().message(error);
        unlink(next.c_str());
    }
    return ok;
}

}  // namespace quor_terminal
