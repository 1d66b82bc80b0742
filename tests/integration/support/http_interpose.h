// http_interpose.h - some of the platform's functions as the library calls them, with a word of the test's in
// between. They stand in the test's program, so they come before the platform's, which they call.
#ifndef QUOR_TESTS_INTEGRATION_HTTP_INTERPOSE_H
#define QUOR_TESTS_INTEGRATION_HTTP_INTERPOSE_H

#include <cstddef>
#include <string>
#include <vector>

namespace quor_test {

// While it lives, every request has the time limits of quor_platform::HttpSettings instead of the library's,
// which are seconds: a test of a bounded end would take minutes, and on a slow machine a test of many
// requests at once would run into them.
class HostTimeLimits {
public:
    HostTimeLimits();
    ~HostTimeLimits();
    HostTimeLimits(const HostTimeLimits&) = delete;
    HostTimeLimits& operator=(const HostTimeLimits&) = delete;
};

// While it is closed, blocking requests and look-ups wait in front of the platform, so that a test knows
// where they are without waiting for a time limit. Its end opens it.
class TransportGate {
public:
    TransportGate();
    ~TransportGate() { Open(); }
    TransportGate(const TransportGate&) = delete;
    TransportGate& operator=(const TransportGate&) = delete;

    // So many wait; false: not in kPatience.
    static bool WaitForWaiting(unsigned int count);
    static void Open();
};

// Counts the participant queries with a certain token that workers have begun with. Nothing else tells from
// outside that a query has left the queues: all but one of them wait for the list's buffer then.
class BegunQueries {
public:
    explicit BegunQueries(const std::string& token);
    ~BegunQueries();
    BegunQueries(const BegunQueries&) = delete;
    BegunQueries& operator=(const BegunQueries&) = delete;

    // At least count; false: not in kPatience.
    static bool WaitFor(unsigned int count);
};

// While it lives, remembers what is allocated on the accounted heap and not given back.
class LiveBlocks {
public:
    LiveBlocks();
    ~LiveBlocks();
    LiveBlocks(const LiveBlocks&) = delete;
    LiveBlocks& operator=(const LiveBlocks&) = delete;

    // The sizes of what is live now.
    static std::vector<std::size_t> Sizes();
    // Frees it: for what the library loses, which it says of itself.
    static void GiveBack();
};

}  // namespace quor_test

#endif
