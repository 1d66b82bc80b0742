// http_children.h - the processes beside the HTTP benchmark's own: the server, so that its work is not
// counted, and the floor, so that both sides have a libcurl of their own.
#ifndef BENCHMARKS_HTTP_CHILDREN_H
#define BENCHMARKS_HTTP_CHILDREN_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// A child with pipes to its standard input and output. Throws std::runtime_error.
class Child {
public:
    explicit Child(const std::vector<std::string>& command);
    ~Child();  // closes its input and ends it
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void Write(const std::string& text) const;
    // Up to the end of the line, without it; throws when the child ends before.
    std::string ReadLine() const;

private:
    pid_t m_pid = 0;
    int m_input = -1;
    int m_output = -1;
};

// quor-simulator with a conference of so many people under every id.
class Server {
public:
    explicit Server(unsigned int people);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    unsigned int Port() const { return m_port; }
    const std::string& CaFile() const { return m_caFile; }

private:
    std::string m_folder;
    std::string m_caFile;
    Child m_child;
    unsigned int m_port = 0;
};

}  // namespace bench

#endif
