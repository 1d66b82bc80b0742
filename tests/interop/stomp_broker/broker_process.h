// broker_process.h - the foreign broker as a child process, with a certificate made for it.
//
// Threads: one at a time.
#ifndef QUOR_TESTS_INTEROP_BROKER_PROCESS_H
#define QUOR_TESTS_INTEROP_BROKER_PROCESS_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/platform_linux/support/temporary_folder.h"

namespace quor_test {

class BrokerProcess {
public:
    // What is missing on this machine to run the broker; empty when nothing is.
    static std::string Missing();

    // Makes a certificate and starts the broker. Throws std::runtime_error. heartBeatMs: what it wants from
    // clients and sends to them; 0 for none.
    explicit BrokerProcess(unsigned int heartBeatMs = 0);
    // Ends the broker and waits for it.
    ~BrokerProcess();
    BrokerProcess(const BrokerProcess&) = delete;
    BrokerProcess& operator=(const BrokerProcess&) = delete;

    std::uint16_t port() const { return m_port; }
    std::string caFile() const { return m_folder.File("certificate.pem"); }

    // Sends a command; the broker's one line of answer.
    std::string Do(const std::string& command);

private:
    void MakeCertificate();
    void Spawn(unsigned int heartBeatMs);
    std::string ReadLine();

    TemporaryFolder m_folder;
    pid_t m_child = -1;
    std::FILE* m_commands = nullptr;
    std::FILE* m_answers = nullptr;
    std::uint16_t m_port = 0;
};

}  // namespace quor_test

#endif
