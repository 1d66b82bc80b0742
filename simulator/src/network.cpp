#include "network.h"

#include <pthread.h>

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/ip/address.hpp>
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
    Impl(Hub& hub, NetworkSettings settings, const Identities& identities)
        : m_hub(hub),
          m_settings(std::move(settings)),
          m_io(1),
          m_acceptor(m_io.get_executor()),
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
        Listen();
    }

    // NOLINTNEXTLINE(bugprone-exception-escape): without memory for the last step there is no orderly end
    ~Impl() {
        asio::post(m_io, [this] { Stop(); });
        m_thread.join();
    }

    void Run() {
        Accept();
        Tick();
        m_thread = std::thread([this] {
            pthread_setname_np(pthread_self(), "quor-sim-net");
            m_io.run();
        });
    }

    std::uint16_t port() const { return m_port; }

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

private:
    void Listen() {
        ErrorCode error;
        const auto address = asio::ip::make_address(m_settings.address, error);
        if (error) {
            throw Error("\"" + m_settings.address + "\" is no IP address");
        }
        const Tcp::endpoint endpoint(address, m_settings.port);
        m_acceptor.open(endpoint.protocol(), error);
        if (!error) {
            m_acceptor.set_option(asio::socket_base::reuse_address(true), error);
        }
        if (!error) {
            m_acceptor.bind(endpoint, error);
        }
        if (!error) {
            m_acceptor.listen(asio::socket_base::max_listen_connections, error);
        }
        if (error) {
            throw Error("cannot listen on " + m_settings.address + " port " +
                        std::to_string(m_settings.port) + ": " + error.message());
        }
        m_port = m_acceptor.local_endpoint().port();
    }

    void Accept() {
        m_acceptor.async_accept(m_io.get_executor(), [this](ErrorCode error, Connection::Socket socket) {
            if (!m_acceptor.is_open()) {
                return;
            }
            if (error) {
                m_acceptAgain = true; /* no file descriptors, for example: tried again with the next tick */
                return;
            }
            Begin(std::move(socket));
            Accept();
        });
    }

    void Begin(Connection::Socket socket) {
        if (m_connections.size() >= m_settings.maxLinks) {
            m_hub.CountRefusal();
            return;
        }
        const std::uint64_t serial = ++m_lastSerial;
        auto connection = std::make_shared<Connection>(serial, std::move(socket),
                                                       m_contexts.at(m_hub.certificate()), m_hub, m_events);
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
            if (!error && m_acceptor.is_open()) {
                m_hub.Tick(Hub::Clock::now());
                if (std::exchange(m_acceptAgain, false)) {
                    Accept();
                }
                Tick();
            }
        });
    }

    /* The thread's run ends by itself once every operation has been told that its socket is closed. */
    void Stop() {
        ErrorCode ignored;
        m_acceptor.close(ignored);
        m_tick.cancel();
        const auto connections = m_connections;
        for (const auto& entry : connections) {
            entry.second->Finish(false);
        }
    }

    Hub& m_hub;
    const NetworkSettings m_settings;
    std::map<Certificate, std::shared_ptr<Context>> m_contexts;
    asio::io_context m_io;
    asio::basic_socket_acceptor<Tcp, Connection::Executor> m_acceptor;
    asio::basic_waitable_timer<std::chrono::steady_clock, asio::wait_traits<std::chrono::steady_clock>,
                               Connection::Executor>
        m_tick;
    std::uint16_t m_port = 0;
    bool m_acceptAgain = false;
    Connection::Events m_events;
    std::uint64_t m_lastSerial = 0;
    std::map<std::uint64_t, std::shared_ptr<Connection>> m_connections; /* all, upgraded or not */
    std::map<LinkId, std::shared_ptr<Connection>> m_links;
    std::thread m_thread;
};

Network::Network(Hub& hub, const NetworkSettings& settings, const Identities& identities)
    : m_impl(std::make_unique<Impl>(hub, settings, identities)) {
    hub.Attach(this);
    m_impl->Run();
}

/* The hub is detached first: from there on nothing is posted any more. */
Network::~Network() = default;

std::uint16_t Network::port() const {
    return m_impl->port();
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
