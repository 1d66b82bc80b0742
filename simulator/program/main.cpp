/* main.cpp - quor-simulator's command line. The only source that includes CLI11, which is slow to compile. */
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <string>

#include "commands.h"
#include "run.h"

namespace {

using quor_simulator::program::RunSettings;

std::string DefaultStateDirectory() {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread of this program changes the environment
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state != '\0') {
        return std::string(state) + "/quor-simulator";
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): as above
    const char* home = std::getenv("HOME");
    return (home != nullptr ? std::string(home) : std::string(".")) + "/.local/state/quor-simulator";
}

std::string Footer() {
    return "Commands on standard input, one a line, each answered with one line:\n" +
           quor_simulator::program::CommandHelp() +
           "\nExamples:\n"
           "  quor-simulator --port 8443 --token demo-token\n"
           "  quor-simulator --ready-file /tmp/ready.json --scenario demo.json --wait-for-subscribers 3 \\\n"
           "                 --exit-after-scenario --stats-file /tmp/stats.json\n"
           "\nExit codes: 0 ended in order (also by SIGINT or SIGTERM), 1 failure, 2 wrong command line,\n"
           "3 the scenario or the gallery is missing or wrong.\n";
}

void AddOptions(CLI::App& app, RunSettings& settings) {
    auto& options = settings.options;
    app.add_option("--address", options.address, "IP address to listen on")->capture_default_str();
    app.add_option("--also-address", options.moreAddresses,
                   "a further IP address to listen on with the same port (repeatable), for example ::1")
        ->allow_extra_args(false);
    app.add_option("--server-name", options.serverNames,
                   "a DNS name or IP address that the certificates carry too (repeatable)")
        ->allow_extra_args(false);
    app.add_option("--port", options.port, "TCP port; 0 takes any free one")->capture_default_str();
    app.add_option("--face-port", options.facePort,
                   "the same services once more on this TCP port, for a second face service; 0 takes any "
                   "free one");
    app.add_option("--gallery", options.galleryDirectory,
                   "folder with gallery.json and the pictures of those whom the face service knows");
    app.add_option("--face-account", options.faceAccount, "account of the face service")
        ->capture_default_str();
    app.add_option("--face-password", options.facePassword, "password of the face service")
        ->capture_default_str();
    app.add_option("--state-dir", options.stateDirectory, "where the CA and the certificates live")
        ->capture_default_str();
    app.add_option("--user", options.userName, "user name of the upgrade's credentials")
        ->capture_default_str();
    app.add_option("--password", options.password, "password of the upgrade's credentials")
        ->capture_default_str();
    app.add_option("--token", options.tokens,
                   "a token that subscriptions and HTTP requests may carry (repeatable); none: any")
        ->allow_extra_args(false);
    app.add_option(
           "--people", options.people,
           "every conference that HTTP requests name has so many generated people; else only those of "
           "the scenario exist")
        ->check(CLI::Range(0, 1000000));
    app.add_option_function<unsigned int>(
           "--heart-beat",
           [&options](unsigned int milliseconds) {
               options.heartBeatSend = options.heartBeatReceive = quor_simulator::Milliseconds(milliseconds);
           },
           "milliseconds between heart-beats offered in both directions, 0 for none (10000)")
        ->check(CLI::Range(0, 86400000));
    app.add_option("--scenario", options.scenarioFile, "scenario file to play (docs/simulator.md)");
    app.add_option("--speed", options.speed, "scenario times are divided by it")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    app.add_option("--wait-for-subscribers", settings.waitForSubscribers,
                   "the scenario begins when so many subscriptions exist")
        ->capture_default_str();
    app.add_flag("--exit-after-scenario", settings.exitAfterScenario, "end when the scenario has been played")
        ->needs("--scenario");
    app.add_option("--ready-file", settings.readyFile,
                   "written once the port is open: {\"port\":...,\"caFile\":...,\"pid\":...}, and facePort "
                   "if there is one");
    app.add_option("--stats-file", settings.statsFile, "counters as JSON, written at the end");
    app.add_flag("--json", settings.json, "one JSON document a line on standard output");
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what gets here is out of memory, and ends the program
int main(int argc, char** argv) {
    RunSettings settings;
    settings.options.stateDirectory = DefaultStateDirectory();
    CLI::App app(
        "quor-simulator: a conference management server and face service for tests and demonstrations");
    AddOptions(app, settings);
    app.footer(Footer());
    app.set_version_flag("--version", "quor-simulator 1.0");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? quor_simulator::program::kExitGood
                                    : quor_simulator::program::kExitUsage;
    }
    return quor_simulator::program::Run(settings);
}
