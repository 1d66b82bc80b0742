// A test of somebody else runs the server simulator in-process. Exits 0 when it listened on a port of its
// own.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "quor_simulator/simulator.h"

int main() {
    std::string directory = (std::filesystem::temp_directory_path() / "quor-consumer-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) {
        std::perror("mkdtemp");
        return 1;
    }
    unsigned int port = 0;
    {
        quor_simulator::Options options;
        options.stateDirectory = directory;
        quor_simulator::Simulator simulator(options);
        simulator.Start();
        port = simulator.port();
        simulator.Stop();
    }
    std::filesystem::remove_all(directory);
    std::printf("the simulator listened on port %u\n", port);
    return port != 0 ? 0 : 1;
}
