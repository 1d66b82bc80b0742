#include "network.h"

#include <pthread.h>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <list>
#include <map>
#include <thread>
#include <utility>

#include "connection.h"

namespace quor_simulator {
namespace {

namespace asio = boost::asio;
using Tcp = asio::ip::tcp;
using Context = asio::ssl::context;
using ErrorCode = boost::system::error_code;

std::shared_ptr<Context> MakeContext(const ServerIdentity& identity) {
    auto context = std::make_shared<Context>(Context::tls_server);
    context->set_options(Context::default_workarounds | Context::no_sslv2 | Context::no_sslv3 |
                         Context::no_tlsv1 | Context::no_tlsv1_1);
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
    context->use_certificate_chain(asio::buffer(identity.certificatePem));
    context->use_private_key(asio::buffer(identity.keyPem), Context::pem);
    return context;
}

}  // namespace

class Network::Impl {
public:
    Impl(Hub& hub, RestService& rest, NetworkSettings settings, const Identities& identities)
        : m_hub(hub),
          m_settings(std::move(settings)),
          m_servers{hub,
                    rest,
                    {m_settings.maxRequestBytes, m_settings.maxPictureBytes, m_settings.keepAliveTimeout}},
          m_io(1),
          m_tick(m_io.get_executor()) {
        for (const auto& [kind, identity] : identities.servers) {
            m_contexts[kind] = MakeContext(identity);
        }
        m_events.opened = [this](LinkId link, const std::shared_ptr<Connection>& connection) {
            m_links[link] = connection;
        };
        m_events.finished = [this](std::uint64_t serial, LinkId link, bool answered) {
            Finished(serial, link, answered);
        };
        m_port = Listen(Port::kFirst, m_settings.port);
        m_secondPort = m_settings.secondPort ? Listen(Port::kSecond, *m_settings.secondPort) : 0;
    }

    // NOLINTNEXTLINE(bugprone-exception-escape): without memory for the last step there is no orderly end
    ~Impl() {
        asio::post(m_io, [this] { Stop(); });
        m_thread.join();
    }

    void Run() {
        for (Listener& listener : m_listeners) {
            Accept(listener);
        }
        Tick();
        m_thread = std::thread([this] {
            pthread_setname_np(pthread_self(), "quor-sim-net");
            m_io.run();
        });
    }

    std::uint16_t port() const { return m_port; }
    std::uint16_t secondPort() const { return m_secondPort; }

    /* Runs action with the link's connection on the network thread, if there still is one. */
    template <class Action>
    void WithLink(LinkId link, Action action) {
        asio::post(m_io, [this, link, action] {
            const auto found = m_links.find(link);
            if (found != m_links.end()) {
                const std::shared_ptr<Connection> connection = found->second;
                action(*connection);
            }
        });
    }

    void WakeHeld() {
        asio::post(m_io, [this] {
            const auto connections = m_connections;
            for (const auto& entry : connections) {
                entry.second->WakeHeld();
            }
        });
    }

private:
    using Acceptor = asio::basic_socket_acceptor<Tcp, Connection::Executor>;
    struct Listener {
        Listener(Port which, Acceptor made) : port(which), acceptor(std::move(made)) {}
        Port port;
        Acceptor acceptor;
        bool again = false; /* accepting failed and is tried again with the next tick */
    };

    /* With any port, the one that the first address got may be taken on the next: another one is tried. */
    std::uint16_t Listen(Port which, std::uint16_t wanted) {
        constexpr int kTries = 20;
        for (int tries = 1;; ++tries) {
            const std::uint16_t taken = TryListen(which, wanted, tries == kTries);
            if (taken != 0) {
                return taken;
            }
        }
    }

    /* 0: to be tried again. */
    std::uint16_t TryListen(Port which, std::uint16_t wanted, bool last) {
        std::list<Listener> listeners;
        std::uint16_t port = wanted;
        for (const std::string& text : m_settings.addresses) {
            ErrorCode error;
            const auto address = asio::ip::make_address(text, error);
            if (error) {
                throw Error("\"" + text + "\" is no IP address");
            }
            Acceptor acceptor(m_io.get_executor());
            Open(acceptor, {address, port}, error);
            if (error == asio::error::address_in_use && wanted == 0 && port != 0 && !last) {
                return 0;
            }
            if (error) {
                throw Error("cannot listen on " + text + " port " + std::to_string(port) + ": " +
                            error.message());
            }
            port = acceptor.local_endpoint().port();
            listeners.emplace_back(which, std::move(acceptor));
        }
        m_listeners.splice(m_listeners.end(), listeners);
        return port;
    }

    static void Open(Acceptor& acceptor, const Tcp::endpoint& endpoint, ErrorCode& error) {
        acceptor.open(endpoint.protocol(), error);
        if (!error) {
            acceptor.set_option(asio::socket_base::reuse_address(true), error);
        }
        if (!error && endpoint.address().is_v6()) {
            acceptor.set_option(asio::ip::v6_only(true), error); /* IPv4 has an acceptor of its own */
        }
        if (!error) {
            acceptor.bind(endpoint, error);
        }
        if (!error) {
            acceptor.listen(asio::socket_base::max_listen_connections, error);
        }
    }

    void Accept(Listener& listener) {
        listener.acceptor.async_accept(m_io.get_executor(),
                                       [this, &listener](ErrorCode error, Connection::Socket socket) {
                                           if (!listener.acceptor.is_open()) {
                                               return;
                                           }
                                           if (error) {
                                               listener.again = true; /* no file descriptors, for example */
                                               return;
                                           }
                                           Begin(listener.port, std::move(socket));
                                           Accept(listener);
                                       });
    }

    void Begin(Port port, Connection::Socket socket) {
        if (m_connections.size() >= m_settings.maxLinks) {
            m_hub.CountRefusal();
            return;
        }
        const std::uint64_t serial = ++m_lastSerial;
        auto connection = std::make_shared<Connection>(
            serial, port, std::move(socket), m_contexts.at(m_hub.certificate()), m_servers, m_events);
        m_connections[serial] = connection;
        connection->Start(m_settings.handshakeTimeout);
    }

    void Finished(std::uint64_t serial, LinkId link, bool answered) {
        m_connections.erase(serial);
        if (link == 0 && !answered) {
            m_hub.CountRefusal();
        } else if (link != 0) {
            m_links.erase(link);
            m_hub.LinkGone(link);
        }
    }

    void Tick() {
        m_tick.expires_after(std::chrono::milliseconds(Hub::kTickMs));
        m_tick.async_wait([this](ErrorCode error) {
            if (error || m_stopped) {
                return;
            }
            m_hub.Tick(Hub::Clock::now());
            for (Listener& listener : m_listeners) {
                if (std::exchange(listener.again, false)) {
                    Accept(listener);
                }
            }
            Tick();
        });
    }

    /* The thread's run ends by itself once every operation has been told that its socket is closed. */
    void Stop() {
        ErrorCode ignored;
        m_stopped = true;
        for (Listener& listener : m_listeners) {
            listener.acceptor.close(ignored);
        }
        m_tick.cancel();
        const auto connections = m_connections;
        for (const auto& entry : connections) {
            entry.second->Finish(false);
        }
    }

    Hub& m_hub;
    const NetworkSettings m_settings;
    const Connection::Servers m_servers;
    std::map<Certificate, std::shared_ptr<Context>> m_contexts;
    asio::io_context m_io;
    std::list<Listener> m_listeners;
    asio::basic_waitable_timer<std::chrono::steady_clock, asio::wait_traits<std::chrono::steady_clock>,
                               Connection::Executor>
        m_tick;
    std::uint16_t m_port = 0;
    std::uint16_t m_secondPort = 0;
    bool m_stopped = false;
    Connection::Events m_events;
    std::uint64_t m_lastSerial = 0;
    std::map<std::uint64_t, std::shared_ptr<Connection>> m_connections; /* all, upgraded or not */
    std::map<LinkId, std::shared_ptr<Connection>> m_links;
    std::thread m_thread;
};

Network::Network(Hub& hub, RestService& rest, const NetworkSettings& settings, const Identities& identities)
    : m_impl(std::make_unique<Impl>(hub, rest, settings, identities)) {
    hub.Attach(this);
    rest.Attach([impl = m_impl.get()] { impl->WakeHeld(); });
    m_impl->Run();
}

/* The hub and the rest side are detached first: from there on nothing is posted any more. */
Network::~Network() = default;

std::uint16_t Network::port() const {
    return m_impl->port();
}

std::uint16_t Network::secondPort() const {
    return m_impl->secondPort();
}

void Network::Wake(LinkId link) {
    m_impl->WithLink(link, [](Connection& connection) { connection.Pump(); });
}

void Network::Reset(LinkId link) {
    m_impl->WithLink(link, [](Connection& connection) { connection.Finish(true); });
}

void Network::Freeze(LinkId link, bool freeze) {
    m_impl->WithLink(link, [freeze](Connection& connection) { connection.Freeze(freeze); });
}

void Network::SetRate(LinkId link, std::size_t bytesPerSecond) {
    m_impl->WithLink(link, [bytesPerSecond](Connection& connection) { connection.SetRate(bytesPerSecond); });
}

}  // namespace quor_simulator
