// process.h - a child process for tests: started with its output in files, watched with a bound, never left
// behind.
#ifndef QUOR_TESTS_TERMINAL_PROCESS_H
#define QUOR_TESTS_TERMINAL_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace quor_terminal {

// Longer than any step takes on a loaded machine; reached only by a defect.
inline constexpr std::chrono::seconds kPatience{60};

// Looks again and again until condition holds. False: kPatience passed.
bool WaitUntil(const std::function<bool()>& condition);

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& text);

// A directory that vanishes with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory();
    ~TemporaryDirectory();
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    std::string File(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

class Process {
public:
    Process() = default;
    ~Process();  // kills what still runs
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Standard input is inputFd, or /dev/null for -1; output and errors go to the files named, or to the
    // descriptors given.
    void Start(const std::vector<std::string>& command, const std::string& outputFile,
               const std::string& errorFile, int inputFd = -1, int outputFd = -1, int errorFd = -1);
    void Signal(int signal) const;
    // The exit status; 128 and the signal's number for a process that a signal ended; -1: still running after
    // kPatience.
    int Wait();
    bool Running();

private:
    bool Reap();

    pid_t m_pid = 0;
    int m_status = -1;
};

}  // namespace quor_terminal

#endif
