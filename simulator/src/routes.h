/*
 * routes.h - tables of endpoints: which method on which path is which kind of request, and who answers it.
 * The port serves any number of tables; each checks its own kind of credentials.
 */
#ifndef QUOR_SIMULATOR_ROUTES_H
#define QUOR_SIMULATOR_ROUTES_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http_message.h"
#include "json_node.h"
#include "quor_simulator/rest.h"

namespace quor_simulator {

struct Route {
    Endpoint endpoint;
    std::string_view method;
    std::string_view path;       /* "/a/{}/b": {} stands for exactly one segment that is not empty */
    bool carriesPicture = false; /* its body may be that much longer */
};

/* What an endpoint is asked. The references live as long as the call. */
struct RestCall {
    Endpoint endpoint;
    const HttpRequest& request;
    const HttpTarget& target;
    const std::vector<std::string>& parameters; /* what stood for each {} of the path */
    const RestFault* fault; /* what it says about what is listed counts; null: there is none */
};

struct RestReply {
    unsigned int status = 200;
    Json body = Json::object();
    std::function<RestReply()> later = nullptr; /* makes the reply instead; for what takes long */
};

/* {"message":text} */
RestReply Refuse(unsigned int status, const std::string& text);

/* By its Content-Type. */
bool CarriesJson(const HttpRequest& request);

/* Called under the lock that all requests share, RestReply::later without it, before the call ends. */
class EndpointTable {
public:
    virtual ~EndpointTable() = default;
    virtual const std::vector<Route>& routes() const = 0;
    /* Credentials; nullopt: the request may go on. */
    virtual std::optional<RestReply> Check(const RestCall& call) = 0;
    virtual RestReply Answer(const RestCall& call) = 0;
};

struct RouteMatch {
    const Route* route = nullptr; /* null: see allowed */
    std::vector<std::string> parameters;
    std::string allowed; /* the methods that the path has, "GET, PUT"; empty: there is no such path */
};

/* Looks one table up. What it finds is added to match: call it for each table until there is a route. */
void FindRoute(const std::vector<Route>& routes, std::string_view method, const HttpTarget& target,
               RouteMatch& match);

}  // namespace quor_simulator

#endif
