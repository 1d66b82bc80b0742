/* fixture.h - a running simulator with a state directory of its own, shared by the tests of one program run.
 */
#ifndef QUOR_TESTS_SIMULATOR_FIXTURE_H
#define QUOR_TESTS_SIMULATOR_FIXTURE_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>

#include "quor_simulator/simulator.h"
#include "raw_client.h"
#include "tests/support/closed_port.h"

namespace quor_test {

/* Removed with its content at the end of its life. */
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "quor-simulator-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data()) == nullptr ? std::string() : pattern;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

class SimulatorTest : public ::testing::Test {
protected:
    static const std::string& StateDirectory() {
        static const TemporaryDirectory directory;
        return directory.path();
    }

    void Start(quor_simulator::Options options = {}) {
        options.stateDirectory = StateDirectory();
        m_simulator = std::make_unique<quor_simulator::Simulator>(std::move(options));
        m_simulator->Start();
    }
    /* For tests that stop and start it: nobody else gets the port meanwhile. */
    quor_simulator::Options OnHeldPort(quor_simulator::Options options = {}) const {
        options.port = m_port.Port();
        return options;
    }
    quor_simulator::Simulator& simulator() { return *m_simulator; }

    bool Connect(RawClient& client, const std::string& connect = "CONNECT\naccept-version:1.2\nhost:x\n\n") {
        return client.ConnectStomp(m_simulator->port(), m_simulator->caFile(), connect);
    }
    /* Subscribes and waits for the RECEIPT. */
    static bool Subscribe(RawClient& client, const std::string& id, const std::string& destination,
                          const std::string& extra = "token:t\n") {
        client.SendFrame("SUBSCRIBE\nid:" + id + "\ndestination:" + destination + "\nreceipt:r-" + id + "\n" +
                         extra + "\n");
        const std::optional<StompFrame> frame = client.ReadFrame();
        return frame && frame->command == "RECEIPT" && frame->Header("receipt-id") == "r-" + id;
    }

private:
    const QuorTest::ClosedPort m_port;
    std::unique_ptr<quor_simulator::Simulator> m_simulator;
};

}  // namespace quor_test

#endif
