#include "platform_linux/http/trust.h"

#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "platform_linux/thread_annotations.h"
#include "platform_linux/trust_store.h"

namespace quor_platform::internal {
namespace {

// A program has one or two; more are read anew each time they take turns.
constexpr std::size_t kMostKept = 8;

// Of one file or directory.
using Mark = std::tuple<dev_t, ino_t, off_t, std::int64_t, std::int64_t, std::int64_t, std::int64_t>;
// The path's, and of a directory those of its certificates, which may change without it.
using Identity = std::vector<Mark>;

Mark MarkOf(const struct stat& status) {
    return {status.st_dev,          status.st_ino,         status.st_size,        status.st_mtim.tv_sec,
            status.st_mtim.tv_nsec, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

Identity IdentityOf(const std::string& path, const struct stat& status) {
    Identity identity{MarkOf(status)};
    if (S_ISDIR(status.st_mode)) {
        for (const std::string& file : HashedFiles(path)) {
            struct stat certificate {};
            identity.push_back(stat(file.c_str(), &certificate) == 0 ? MarkOf(certificate) : Mark{});
        }
        std::sort(identity.begin() + 1, identity.end());
    }
    return identity;
}

struct Entry {
    Identity identity;
    TrustPointer trust;
};

struct Kept {
    Mutex mutex;  // held while certificates are read, so that they are read once
    std::vector<Entry> entries QUOR_GUARDED_BY(mutex);
    unsigned long made QUOR_GUARDED_BY(mutex) = 0;
};

Kept& Stored() {
    static auto* const kept = new Kept;
    return *kept;
}

void SetFailure(Failure* failure, int systemError, const std::string& text) {
    *failure = Failure{};
    failure->stage = Stage::kSettings;
    failure->systemError = systemError;
    failure->text = text;
}

// OpenSSL takes a certificate's extensions apart at their first use. That is here, before threads share the
// store.
void Complete(X509_STORE& store) {
    const STACK_OF(X509_OBJECT)* const objects = X509_STORE_get0_objects(&store);
    for (int i = 0; i < sk_X509_OBJECT_num(objects); ++i) {
        X509* const certificate = X509_OBJECT_get0_X509(sk_X509_OBJECT_value(objects, i));
        if (certificate != nullptr) {
            constexpr int kNoPurpose = -1;
            X509_check_purpose(certificate, kNoPurpose, 0);
        }
    }
}

TrustPointer Read(const std::string& path, bool directory, unsigned long number, Failure* failure) {
    auto trust = std::make_shared<Trust>();
    trust->path = path;
    trust->tag = "/dev/null/trust-" + std::to_string(number);
    trust->store.reset(X509_STORE_new());
    if (trust->store == nullptr) {
        SetFailure(failure, ENOMEM, "no memory for the trusted certificates");
        return nullptr;
    }
    const bool read = directory ? TrustDirectory(trust->store.get(), path, failure)
                                : TrustFile(trust->store.get(), path, failure);
    if (!read) {
        return nullptr;
    }
    Complete(*trust->store);
    return trust;
}

}  // namespace

TrustPointer LoadTrust(const std::string& path, Failure* failure) {
    if (path.empty()) {
        SetFailure(failure, 0, "no trusted certificates are named");
        return nullptr;
    }
    Kept& kept = Stored();
    const MutexLock lock(kept.mutex);
    const auto old = std::find_if(kept.entries.begin(), kept.entries.end(),
                                  [&](const Entry& entry) { return entry.trust->path == path; });
    struct stat status {};
    const bool there = stat(path.c_str(), &status) == 0;
    const int systemError = errno;
    const Identity identity = there ? IdentityOf(path, status) : Identity{};
    if (there && old != kept.entries.end() && old->identity == identity) {
        return old->trust;
    }
    if (old != kept.entries.end()) {
        kept.entries.erase(old);
    }
    if (!there) {
        SetFailure(failure, systemError,
                   "the trusted certificates " + path +
                       " cannot be read: " + std::generic_category().message(systemError));
        return nullptr;
    }
    // A file that changes while it is read has another identity at the next request, and is read again.
    TrustPointer trust = Read(path, S_ISDIR(status.st_mode), ++kept.made, failure);
    if (trust != nullptr) {
        if (kept.entries.size() == kMostKept) {
            kept.entries.erase(kept.entries.begin());
        }
        kept.entries.push_back({identity, trust});
    }
    return trust;
}

}  // namespace quor_platform::internal
