#include "quor_platform/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/temporary_folder.h"
#include "tests/platform_linux/support/threads.h"

namespace {

using quor_platform::LogRecord;
using quor_platform::LogSettings;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char kModule[] = "some_module.cpp and what follows";
constexpr unsigned int kModuleLength = 15;

std::vector<std::string> LinesOf(const std::string& path) {
    std::istringstream text(TemporaryFolder::Read(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

class Log : public testing::Test {
protected:
    void TearDown() override {
        quor_platform::SetLogListener(nullptr);
        quor_platform::SetLogSettings({});
        quor_platform::Shutdown();
    }

    LogSettings FileSettings(const char* name = "log") const {
        LogSettings settings;
        settings.file = m_folder.File(name);
        return settings;
    }

    // Collects records as "level log module:line text".
    void Listen() {
        quor_platform::SetLogListener([this](const LogRecord& record) {
            m_heard.push_back(std::to_string(record.level) + " " + record.log + " " +
                              std::string(record.module, record.moduleLength) + ":" +
                              std::to_string(record.line) + " " + record.text);
        });
    }

    static unsigned int Write(unsigned int level, const char* text) {
        return QuorOmLogModuleLogRecord(level, 1, kModule, kModuleLength, 12, "%s", text);
    }

    TemporaryFolder m_folder;
    std::vector<std::string> m_heard;
};

TEST_F(Log, TellsTheListenerWhatWasLogged) {
    Listen();
    EXPECT_EQ(QuorOmLogModuleLogRecord(1, 1, kModule, kModuleLength, 12, "a %d %s", 7, "b"), 0U);
    EXPECT_EQ(QuorOmLogGeneralLogRecord(2, 1, kModule, 4, 13, "milestone"), 0U);
    EXPECT_EQ(QuorOmLogStormLogRecord(3, 1, "m", 100, 14, "many"), 0U);
    EXPECT_EQ(QuorOmLogModuleLogRecord(3, 1, nullptr, 5, 15, "x"), 0U);
    EXPECT_THAT(m_heard, ElementsAre("1 module some_module.cpp:12 a 7 b", "2 general some:13 milestone",
                                     "3 storm m:14 many", "3 module :15 x"));
}

TEST_F(Log, WritesOneLineForARecord) {
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings()));
    EXPECT_EQ(Write(1, "plain \xE4\xB8\xAD"), 0U);
    EXPECT_EQ(Write(2, "two\nlines\r\n\ttab \x1b[31m \x7f back\\slash"), 0U);
    EXPECT_EQ(Write(3, ""), 0U);
    quor_platform::FlushLogs();
    const auto lines = LinesOf(FileSettings().file);
    ASSERT_EQ(lines.size(), 3U);
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3} [+-][0-9]{2}:[0-9]{2} ";
    EXPECT_TRUE(
        std::regex_match(lines[0], std::regex(time + "error module some_module\\.cpp:12 plain \xE4\xB8\xAD")))
        << lines[0];
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(time + "warning module .*"))) << lines[1];
    EXPECT_THAT(lines[1], HasSubstr(":12 two\\nlines\\r\\n\\ttab \\x1b[31m \\x7f back\\slash"));
    EXPECT_TRUE(std::regex_match(lines[2], std::regex(time + "info module some_module\\.cpp:12 ")))
        << lines[2];
}

TEST_F(Log, ErrorsAreInTheFileAtOnce) {
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings()));
    EXPECT_EQ(Write(3, "information"), 0U);
    EXPECT_EQ(Write(1, "error"), 0U);
    EXPECT_EQ(LinesOf(FileSettings().file).size(), 2U);
}

TEST_F(Log, ShutdownWritesOutAndLaterRecordsAreNotLost) {
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings()));
    EXPECT_EQ(Write(3, "before"), 0U);
    quor_platform::Shutdown();
    EXPECT_EQ(LinesOf(FileSettings().file).size(), 1U);
    EXPECT_EQ(Write(3, "after"), 0U);
    quor_platform::Shutdown();
    EXPECT_EQ(LinesOf(FileSettings().file).size(), 2U);
}

TEST_F(Log, LongTextsStayWhole) {
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings()));
    Listen();
    for (const std::size_t size : {1022U, 1023U, 1024U, 1025U, 100000U}) {
        const std::string text(size, 't');
        m_heard.clear();
        EXPECT_EQ(Write(1, text.c_str()), 0U);
        ASSERT_EQ(m_heard.size(), 1U);
        EXPECT_THAT(m_heard.back(), testing::EndsWith(":12 " + text));
        EXPECT_THAT(LinesOf(FileSettings().file).back(), testing::EndsWith(":12 " + text));
    }
}

TEST_F(Log, LevelsSuppress) {
    Listen();
    for (unsigned int level = 0; level <= 4; ++level) {
        m_heard.clear();
        quor_platform::SetLogLevel(level);
        for (unsigned int record = 1; record <= 5; ++record) {
            EXPECT_EQ(Write(record, "x"), 0U);
        }
        EXPECT_EQ(m_heard.size(), std::min(level, 3U));
    }
    LogSettings errors;
    errors.level = 1;
    EXPECT_TRUE(quor_platform::SetLogSettings(errors));
    m_heard.clear();
    EXPECT_EQ(Write(2, "x"), 0U);
    EXPECT_EQ(Write(1, "x"), 0U);
    EXPECT_EQ(m_heard.size(), 1U);
}

TEST_F(Log, BadRecordsAreRefused) {
    Listen();
    const char* none = nullptr;
    EXPECT_NE(Write(0, "x"), 0U);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    EXPECT_NE(QuorOmLogModuleLogRecord(1, 1, kModule, 4, 1, none), 0U);
#pragma GCC diagnostic pop
    EXPECT_NE(QuorOmLogModuleLogRecord(1, 1, kModule, 4, 1, "%lc", wint_t{0x20AC}), 0U)
        << "not to be encoded in the C locale";
    EXPECT_TRUE(m_heard.empty());
}

TEST_F(Log, AFileThatCannotBeOpenedLeavesTheOldTargets) {
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings()));
    LogSettings bad;
    bad.file = m_folder.File("missing/folder/log");
    EXPECT_FALSE(quor_platform::SetLogSettings(bad));
    EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::Stage::kSettings);
    EXPECT_EQ(quor_platform::LastFailure().systemError, ENOENT);
    EXPECT_THAT(quor_platform::LastFailure().text, HasSubstr("missing/folder/log"));
    bad = FileSettings("other");
    bad.maxFileBytes = 0;
    EXPECT_FALSE(quor_platform::SetLogSettings(bad));
    EXPECT_EQ(Write(1, "still here"), 0U);
    EXPECT_EQ(LinesOf(FileSettings().file).size(), 1U);
}

TEST_F(Log, ARecordThatTheFileCannotTakeIsReported) {
    LogSettings full;
    full.file = "/dev/full";
    ASSERT_TRUE(quor_platform::SetLogSettings(full));
    Listen();
    EXPECT_NE(Write(1, "no space left"), 0U);
    EXPECT_EQ(m_heard.size(), 1U) << "the listener still hears it";
}

TEST_F(Log, FilesRotate) {
    LogSettings settings = FileSettings();
    settings.maxFileBytes = 2000;
    settings.maxFiles = 2;
    ASSERT_TRUE(quor_platform::SetLogSettings(settings));
    const std::string text(400, 't');
    for (int i = 0; i < 40; ++i) {
        EXPECT_EQ(Write(1, text.c_str()), 0U);
    }
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path())) {
        names.insert(entry.path().filename().string());
        EXPECT_LE(entry.file_size(), settings.maxFileBytes);
    }
    EXPECT_EQ(names, (std::set<std::string>{"log", "log.1", "log.2"}));
}

TEST_F(Log, SettingsReplaceTheTargets) {
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings("a")));
    EXPECT_EQ(Write(3, "to a"), 0U);
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings("b")));
    EXPECT_EQ(Write(3, "to b"), 0U);
    ASSERT_TRUE(quor_platform::SetLogSettings({}));
    EXPECT_EQ(Write(1, "to nobody"), 0U);
    EXPECT_EQ(LinesOf(m_folder.File("a")).size(), 1U);
    EXPECT_EQ(LinesOf(m_folder.File("b")).size(), 1U);
}

TEST_F(Log, TheConsoleIsStandardError) {
    LogSettings settings;
    settings.console = true;
    testing::internal::CaptureStderr();
    ASSERT_TRUE(quor_platform::SetLogSettings(settings));
    EXPECT_EQ(Write(2, "seen"), 0U);
    EXPECT_TRUE(quor_platform::SetLogSettings({}));
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("warning module some_module.cpp:12 seen\n"));
}

TEST_F(Log, StormsAreLimitedAndTheDroppedOnesCounted) {
    constexpr unsigned long kRecords = 1000;
    LogSettings settings;
    settings.stormRecordsPerSecond = 3;
    ASSERT_TRUE(quor_platform::SetLogSettings(settings));
    std::mutex mutex;  // the platform's own thread may report the dropped ones
    unsigned long written = 0;
    unsigned long dropped = 0;
    quor_platform::SetLogListener([&](const LogRecord& record) {
        const std::lock_guard<std::mutex> lock(mutex);
        EXPECT_STREQ(record.log, "storm");
        std::smatch match;
        const std::string text = record.text;
        if (std::regex_match(text, match, std::regex("([0-9]+) storm records dropped"))) {
            EXPECT_EQ(record.level, QUOR_OM_LOG_LEVEL_WARNING);
            dropped += std::stoul(match[1]);
        } else {
            ++written;
        }
    });
    for (unsigned long i = 0; i < kRecords; ++i) {
        EXPECT_EQ(QuorOmLogStormLogRecord(3, 1, "m", 1, 1, "storm"), 0U);
    }
    quor_platform::FlushLogs();
    const std::lock_guard<std::mutex> lock(mutex);
    EXPECT_GE(written, 3U);
    EXPECT_EQ(written + dropped, kRecords);
}

TEST_F(Log, SuppressedStormsDoNotCount) {
    Listen();
    quor_platform::SetLogLevel(2);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(QuorOmLogStormLogRecord(3, 1, "m", 1, 1, "storm"), 0U);
    }
    quor_platform::FlushLogs();
    EXPECT_TRUE(m_heard.empty());
}

TEST_F(Log, AListenerThatLogsIsNotCalledFromItself) {
    int calls = 0;
    quor_platform::SetLogListener([&](const LogRecord&) {
        ++calls;
        EXPECT_EQ(Write(1, "from inside"), 0U);
    });
    EXPECT_EQ(Write(1, "x"), 0U);
    EXPECT_EQ(calls, 1);
}

TEST_F(Log, RecordsOfManyThreadsStayWhole) {
    constexpr int kThreads = 4;
    constexpr int kRecords = 300;
    ASSERT_TRUE(quor_platform::SetLogSettings(FileSettings()));
    int heard = 0;  // one at a time: the thread sanitizer watches
    quor_platform::SetLogListener([&](const LogRecord&) { ++heard; });
    RunInThreads(kThreads, [](int i) {
        for (int record = 0; record < kRecords; ++record) {
            EXPECT_EQ(QuorOmLogModuleLogRecord(3, 1, "m", 1, 1, "thread %d record %d end", i, record), 0U);
            if (record % 100 == 0) {
                quor_platform::SetLogLevel(3);
                quor_platform::FlushLogs();
            }
        }
    });
    quor_platform::FlushLogs();
    EXPECT_EQ(heard, kThreads * kRecords);
    const auto lines = LinesOf(FileSettings().file);
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(kThreads * kRecords));
    for (const std::string& line : lines) {
        EXPECT_THAT(line, MatchesRegex(".* info module m:1 thread [0-9] record [0-9]+ end"));
    }
}

TEST_F(Log, SettingsMayChangeWhileOthersLog) {
    std::atomic<bool> end{false};
    std::thread writer([&] {
        while (!end) {
            Write(3, "x");
        }
    });
    for (int i = 0; i < 50; ++i) {
        EXPECT_TRUE(quor_platform::SetLogSettings(FileSettings(i % 2 == 0 ? "a" : "b")));
        auto alive = std::make_shared<int>(0);
        quor_platform::SetLogListener([&alive](const LogRecord&) { ++*alive; });
        if (i % 10 == 0) {
            quor_platform::Shutdown();
        }
        quor_platform::SetLogListener(nullptr);
    }
    end = true;
    writer.join();
}

TEST(LogFileId, IsStableAndNeverZero) {
    const unsigned int id = QuorAiGetAiLogFileId("AiLog.log");
    EXPECT_NE(id & 0xFFFFU, 0U);
    EXPECT_EQ(QuorAiGetAiLogFileId(std::string("AiLog.log").c_str()), id)
        << "the text counts, not its address";
    EXPECT_NE(QuorAiGetAiLogFileId("Other.log"), id);
    EXPECT_NE(QuorAiGetAiLogFileId(nullptr), 0U);
    EXPECT_EQ(QuorAiGetAiLogFileId(""), QuorAiGetAiLogFileId(nullptr));
}

TEST(LogFileId, NeverFails) {
    RunInThreads(3, [](int) {
        for (int name = 0; name < 400; ++name) {
            EXPECT_NE(QuorAiGetAiLogFileId(std::to_string(name).c_str()) & 0xFFFFU, 0U);
        }
    });
    EXPECT_EQ(QuorAiGetAiLogFileId("0"), QuorAiGetAiLogFileId("0"));
}

}  // namespace
