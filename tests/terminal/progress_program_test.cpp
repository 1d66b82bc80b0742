// How far a long request is, on a terminal: one line, drawn again and again, and gone in the end.
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "face_program_fixture.h"

namespace quor_terminal {
namespace {

// A terminal whose other side the test reads.
class PseudoTerminal {
public:
    PseudoTerminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
        char name[64] = {};
        EXPECT_EQ(grantpt(m_master), 0);
        EXPECT_EQ(unlockpt(m_master), 0);
        EXPECT_EQ(ptsname_r(m_master, name, sizeof name), 0);
        m_slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        EXPECT_GE(m_slave, 0);
    }
    ~PseudoTerminal() {
        close(m_slave);
        close(m_master);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    int Slave() const { return m_slave; }
    // Everything that was written so far.
    const std::string& Written() {
        char piece[1024];
        for (ssize_t got = 0; (got = read(m_master, piece, sizeof piece)) > 0;) {
            m_written.append(piece, static_cast<std::size_t>(got));
        }
        return m_written;
    }

private:
    const int m_master;
    int m_slave = -1;
    std::string m_written;
};

constexpr const char* kErased = "\r\x1b[K";

class ProgressProgramTest : public FaceProgramTest {
protected:
    void Start(const Words& command, const std::string& terminalType = "xterm") {
        Words whole = {"/usr/bin/env", "TERM=" + terminalType};
        whole.insert(whole.end(), command.begin(), command.end());
        terminal.Start(whole, directory.File("out"), "", -1, -1, screen.Slave());
    }
    bool Shows(const std::string& text) {
        return WaitUntil([&] { return Contains(screen.Written(), text); });
    }
    // Nothing is left of the line, and it has never been more than one.
    void ExpectErased() {
        const std::string& written = screen.Written();
        EXPECT_EQ(written.substr(written.size() - std::min<std::size_t>(written.size(), 4)), kErased);
        EXPECT_FALSE(Contains(written, "\n")) << written;
    }

    PseudoTerminal screen;
};

TEST_F(ProgressProgramTest, PagesAreCountedInPlace) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Tell(simulator, "people conf-big 450");
    Tell(simulator, "http-fault participants hold skip=1 times=1");
    Start(Request(simulator, {"participants"}, {}, "conf-big"));
    ASSERT_TRUE(Shows(std::string(kErased) + "participants: 1 page of 200 people read")) << screen.Written();
    EXPECT_EQ(screen.Written().rfind(std::string(kErased) + "asking for the participants", 0), 0U);
    EXPECT_EQ(Output(), "");
    WaitForRequests(simulator, "page=1", 1);
    Tell(simulator, "http-release participants");
    EXPECT_EQ(terminal.Wait(), kExitOk);
    ExpectErased();
    EXPECT_TRUE(Contains(Output(), "450 participants\n"));
}

TEST_F(ProgressProgramTest, AReportAndAListOfPages) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Start(Request(simulator, {"signin", "report", "a=A", "b=B", "c=C", "d=D", "e=E", "f=F"}));
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_TRUE(Contains(screen.Written(), std::string(kErased) + "reported: 5 of 6 people" + kErased +
                                               "reported: 6 of 6 people"))
        << screen.Written();
    ExpectErased();
    Start(Request(simulator, {"signin", "list", "--not-checked-in", "--all"}));
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_TRUE(Contains(screen.Written(), std::string(kErased) + "list: page 2 of 3 read"));
    ExpectErased();
}

TEST_F(ProgressProgramTest, FacesAndTheirPhotos) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServices(simulator));
    Tell(simulator, "http-fault faceIdentify hold");
    Start(Identify(simulator, "ana.torres"));
    ASSERT_TRUE(Shows(std::string(kErased) + "asking https://" + first + " who this is: "))
        << screen.Written();
    WaitForRequests(simulator, "/identify", 1);
    Tell(simulator, "http-release faceIdentify");
    EXPECT_EQ(terminal.Wait(), kExitOk);
    ExpectErased();
    Tell(simulator, "http-fault faceUserPhotos photoBytes=2000000");
    Start(Photos(simulator, {"a", "b", "c"}));
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_TRUE(Contains(screen.Written(), std::string(kErased) + "photos: 3 of 3, 6000000 bytes"));
    ExpectErased();
    EXPECT_TRUE(Contains(Output(), "3 photos saved, 6000000 bytes\n")) << Output();
}

// A failure is told on the same terminal: the line goes first.
TEST_F(ProgressProgramTest, TheLineGoesBeforeAnError) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Start(Request(simulator, {"participants"}, {}, "conf-nowhere"));
    EXPECT_EQ(terminal.Wait(), kExitRefused);
    EXPECT_TRUE(Contains(screen.Written(), std::string("participants") + kErased + "quor-terminal: answer: "))
        << screen.Written();
}

TEST_F(ProgressProgramTest, ATerminalWithoutACursorIsLeftAlone) {
    SimulatorRun simulator;
    ASSERT_NO_FATAL_FAILURE(StartServer(simulator));
    Start(Request(simulator, {"participants"}), "dumb");
    EXPECT_EQ(terminal.Wait(), kExitOk);
    EXPECT_EQ(screen.Written(), "");
}

}  // namespace
}  // namespace quor_terminal
