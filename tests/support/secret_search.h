// secret_search.h - runs a piece of work and looks for what it left of secrets: on its stack, in memory that
// operator delete took back, and in blocks that went back to the accounted heap.
#ifndef TESTS_SUPPORT_SECRET_SEARCH_H
#define TESTS_SUPPORT_SECRET_SEARCH_H

#include <functional>
#include <string>
#include <vector>

#include "support/stack_probe.h"

namespace QuorTest {

// A password that nothing else resembles, and its base64.
inline constexpr const char* kSecretPassword = "Zq7=canary#Xw9~Vu5%Kj3+Pb8&Nm2";
inline constexpr const char* kSecretCode = "WnE3PWNhbmFyeSNYdzl+VnU1JUtqMytQYjgmTm0y";

class SecretSearch {
public:
    // Pieces of at least 8 bytes of each of them count; what operator delete took back is searched for the
    // first one only.
    explicit SecretSearch(std::vector<std::string> secrets);

    // Runs work on a stack of its own, which is searched by ExpectNothingLeft.
    void Run(const std::function<void()>& work);
    void ExpectNothingLeft(const std::string& where) const;

    // Looks into every block that went back to the accounted heap since the fake's records were cleared.
    void ExpectNothingFreed(const std::string& where) const;

private:
    const std::vector<std::string> m_secrets;
    StackProbe m_probe;
    unsigned m_deleted = 0;
};

}  // namespace QuorTest

#endif
