// face_program_fixture.h - 'face' against a simulator with a gallery and two ports, each a face service.
#ifndef QUOR_TESTS_TERMINAL_FACE_PROGRAM_FIXTURE_H
#define QUOR_TESTS_TERMINAL_FACE_PROGRAM_FIXTURE_H

#include <string>
#include <vector>

#include "http_program_fixture.h"

namespace quor_terminal {

class FaceProgramTest : public HttpProgramTest {
protected:
    void StartServices(SimulatorRun& simulator) {
        ASSERT_NO_FATAL_FAILURE(StartServer(simulator, {"--gallery", QUOR_GALLERY, "--face-port", "0"}));
        first = "127.0.0.1:" + std::to_string(simulator.port);
        second =
            "127.0.0.1:" +
            std::to_string(Json::parse(ReadWholeFile(directory.File("ready.json")))["facePort"].get<int>());
        WriteWholeFile(directory.File("face-password"), "quor-face-demo\n");
    }

    // 'face' with the words; options that more gives are not added.
    Words Face(const SimulatorRun& simulator, const Words& words, const Words& more = {}) const {
        Words command = {QUOR_TERMINAL_PROGRAM, "face"};
        command.insert(command.end(), words.begin(), words.end());
        const auto add = [&command, &more](const std::string& option, const std::string& value) {
            if (std::find(more.begin(), more.end(), option) == more.end()) {
                command.insert(command.end(), {option, value});
            }
        };
        add("--server", first);
        add("--ca-file", simulator.caFile);
        add("--account", "face-service");
        if (std::find(more.begin(), more.end(), "--sealed-password-file") == more.end()) {
            add("--password-file", directory.File("face-password"));
        }
        add("--log-file", directory.File("log"));
        command.insert(command.end(), more.begin(), more.end());
        return command;
    }
    static std::string Probe(const std::string& person) {
        return std::string(QUOR_GALLERY) + "/probes/" + person + ".jpg";
    }
    Words Identify(const SimulatorRun& simulator, const std::string& person, const Words& more = {}) const {
        return Face(simulator, {"identify", Probe(person)}, more);
    }
    Words Photos(const SimulatorRun& simulator, const Words& ids, const Words& more = {}) const {
        Words words = {"photos", "--out", directory.File("photos")};
        words.insert(words.begin() + 1, ids.begin(), ids.end());
        return Face(simulator, words, more);
    }
    std::vector<std::string> Saved() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory.File("photos"))) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    // Text and JSON of what fails after a service was found.
    void ExpectFaceFailure(const Words& command, const std::string& name, int status,
                           const std::string& stage, const std::string& part) {
        SCOPED_TRACE(name + ", " + stage + ": " + part);
        EXPECT_EQ(Run(command), status) << Errors();
        EXPECT_EQ(Output(), "");
        EXPECT_TRUE(Contains(Errors(), part)) << Errors();
        Words json = command;
        json.emplace_back("--json");
        EXPECT_EQ(Run(json), status) << Errors();
        const std::vector<Json> documents = DocumentsOf("failure");
        ASSERT_EQ(documents.size(), 1U) << Output();
        EXPECT_EQ(documents[0]["request"], name);
        EXPECT_EQ(documents[0]["stage"], stage);
        EXPECT_EQ(documents[0]["exitCode"], status);
    }

    std::string first;  // addresses of the two services
    std::string second;
};

}  // namespace quor_terminal

#endif
