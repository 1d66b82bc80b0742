// openssl_lifetime.cpp - keeps OpenSSL whole until the process is gone.
//
// OpenSSL registers a clean-up with atexit that frees its locks and tables. A program that ends by returning
// from main without calling Shutdown() still has link and HTTP threads then, and they use these locks. The
// process's memory goes back to the system anyway, so nothing is lost by leaving the clean-up out.
#include <openssl/crypto.h>

namespace {

// Before any static object of this library: Boost.Asio's start OpenSSL, and the first start decides.
constexpr int kFirst = 101;  // the earliest priority that is not the compiler's own

__attribute__((constructor(kFirst))) void KeepOpenSslAtExit() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

}  // namespace
