// certificate.cpp - the certificate service: what TlsSettings (host.h) name.

#include "quor_platform/certificate.h"

#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <system_error>

#include "platform_linux/host_state.h"

namespace quor_platform {
namespace {

// The query for the trusted certificates of HTTPS.
constexpr unsigned int kUsageTrusted = 1;
constexpr unsigned int kKindHttps = 2;

unsigned int Refuse(int result, const std::string& text) {
    Failure failure;
    failure.stage = Stage::kSettings;
    failure.systemError = result;
    failure.text = text;
    RecordFailure(failure);
    return static_cast<unsigned int>(result);
}

unsigned int Find(QuorOmCertPath& out) {
    const TlsSettings settings = GetTlsSettings();
    const std::string& path = settings.caDirectory.empty() ? settings.caFile : settings.caDirectory;
    if (path.empty()) {
        return Refuse(ENOENT, "neither a CA file nor a CA directory is set");
    }
    if (path.size() >= sizeof out.path) {
        return Refuse(ENAMETOOLONG, "the path of the trusted certificates is too long");
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        const int systemError = errno;
        return Refuse(systemError, "the trusted certificates " + path +
                                       " cannot be found: " + std::generic_category().message(systemError));
    }
    path.copy(out.path, path.size());
    out.path[path.size()] = '\0';
    return 0;
}

}  // namespace
}  // namespace quor_platform

unsigned int QuorOmCertGetCertPath(const struct QuorOmCertQuery* query, unsigned int /*option*/,
                                   struct QuorOmCertPath* out) {
    using namespace quor_platform;
    if (out != nullptr) {
        out->path[0] = '\0';
    }
    try {
        if (query == nullptr || out == nullptr) {
            return Refuse(EINVAL, "the trusted certificates were asked for without a query or a place");
        }
        if (query->usage != kUsageTrusted || query->kind != kKindHttps) {
            return Refuse(EINVAL, "there are no certificates for the query");
        }
        return Find(*out);
    } catch (...) {
        return ENOMEM;
    }
}
