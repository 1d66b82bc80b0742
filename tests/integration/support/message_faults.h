// message_faults.h - the fixture of the tests of messages with faulty content: everything is subscribed,
// steps of scenarios make the messages, and what the channel logs and traces about them is recorded in its
// order.
#ifndef QUOR_TESTS_INTEGRATION_MESSAGE_FAULTS_H
#define QUOR_TESTS_INTEGRATION_MESSAGE_FAULTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "support/terminal_test.h"

namespace quor_test {

// A fault, as members of a scenario's step, and what follows from it.
struct Case {
    std::string fault;
    std::vector<std::string> records;  // that the observer gets for the faulty message
    // The channel's log records (E error, I information) and traces (T) up to the good message's record.
    std::vector<std::string> lines;
};

class MessageFaultsTest : public TerminalTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Plays a step at once, given as its members besides the time; so many messages must find their
    // subscriber.
    void Play(const std::string& step, std::uint64_t messages = 1);

    // Plays the step with the case's fault and the good step after it, whose record must be the last.
    void Check(TagQuorAiSubId id, const std::string& step, const Case& fault, const std::string& goodStep,
               const std::string& goodRecord, std::uint64_t messages = 1);

private:
    Records<std::string> m_lines;
};

// What a text that was made too long is filled up with.
std::string X(std::size_t count);

}  // namespace quor_test

#endif
