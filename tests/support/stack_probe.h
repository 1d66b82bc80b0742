// stack_probe.h - runs a piece of work on a stack of the test's own and keeps that stack for a search.
//
// What a function leaves below the stack pointer after it returned is still there for the next one to find; a
// secret among it is a leak that no other check sees.
#ifndef TESTS_SUPPORT_STACK_PROBE_H
#define TESTS_SUPPORT_STACK_PROBE_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace QuorTest {

class StackProbe {
public:
    StackProbe();
    ~StackProbe();
    StackProbe(const StackProbe&) = delete;
    StackProbe& operator=(const StackProbe&) = delete;

    // Fills the stack with a pattern, runs work on it, on a thread of its own, and waits for its end.
    void Run(const std::function<void()>& work);

    // Bytes of the stack that the last Run touched.
    std::size_t UsedBytes() const;

    // Pieces of at least minBytes bytes of secret that stand on the stack after Run, longest first at each
    // place.
    std::vector<std::string> Find(const std::string& secret, std::size_t minBytes = 8) const;

private:
    unsigned char* m_stack = nullptr;
};

// Pieces of at least minBytes bytes of secret within bytes.
std::vector<std::string> FindPieces(const unsigned char* bytes, std::size_t size, const std::string& secret,
                                    std::size_t minBytes);

}  // namespace QuorTest

#endif
