/*
 * face_endpoints.h - the face service's table of endpoints: is it there, whose face is this, pictures of
 * users and pictures by their ids.
 *
 * Threads: none of its own; the rest side calls it under its mutex. What it hands out for later holds the
 * gallery that counted when the request came, and takes no lock.
 */
#ifndef QUOR_SIMULATOR_FACE_ENDPOINTS_H
#define QUOR_SIMULATOR_FACE_ENDPOINTS_H

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "gallery.h"
#include "routes.h"

namespace quor_simulator {

class FaceEndpoints : public EndpointTable {
public:
    /* Requests carry both as base64. */
    struct Credentials {
        std::string account;
        std::string password;
    };

    explicit FaceEndpoints(Credentials credentials) : m_credentials(std::move(credentials)) {}

    const std::vector<Route>& routes() const override;
    std::optional<RestReply> Check(const RestCall& call) override;
    RestReply Answer(const RestCall& call) override;

    void SetGallery(std::shared_ptr<const FaceIndex> gallery) { m_gallery = std::move(gallery); }

private:
    const Credentials m_credentials;
    std::shared_ptr<const FaceIndex> m_gallery = std::make_shared<const FaceIndex>();
};

}  // namespace quor_simulator

#endif
