/*
 * certificates.h - the simulator's own certification authority and the certificates it shows. The authority
 * lives in a directory and is made when it is not there; faulty certificates are issued anew for each start,
 * so that "expired yesterday" and "valid from tomorrow" stay true however old the directory is.
 */
#ifndef QUOR_SIMULATOR_CERTIFICATES_H
#define QUOR_SIMULATOR_CERTIFICATES_H

#include <map>
#include <string>
#include <vector>

#include "quor_simulator/simulator.h"

namespace quor_simulator {

struct ServerIdentity {
    std::string certificatePem; /* the certificate, then its issuer */
    std::string keyPem;
};

struct Identities {
    std::string caFile; /* absolute path of ca.pem */
    std::map<Certificate, ServerIdentity> servers;
};

/*
 * Files in directory: ca.pem, ca-key.pem, server.pem, server-key.pem; keys readable by their owner only. The
 * directory is made if needed (mode 0700). Simulators that start at the same time with the same directory
 * wait for each other. moreNames: DNS names and IP addresses that the good names have besides localhost,
 * 127.0.0.1 and ::1; a stored server.pem without one of them is replaced. Throws Error when a name cannot
 * stand in a certificate, when files are unreadable, do not belong together or the authority has expired.
 */
Identities PrepareIdentities(const std::string& directory, const std::vector<std::string>& moreNames = {});

}  // namespace quor_simulator

#endif
