#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "quor_platform/os.h"
#include "quor_platform_linux/host.h"
#include "tests/platform_linux/support/gate.h"
#include "tests/platform_linux/support/threads.h"

namespace {

using quor_platform::SetMessageReceiver;

using Message = std::array<unsigned char, OS_MSG_SIZE>;

Message MessageTo(std::string_view name, unsigned char id = 0) {
    Message message{};
    message[OS_MSG_ID_OFFSET] = id;
    std::memcpy(message.data() + OS_MSG_RECEIVER_OFFSET, name.data(), name.size());
    return message;
}

// Sends in a receiver until that is refused for this reason: what the test does meanwhile has begun. What was
// taken until then must never arrive.
void AwaitRefusal(std::string_view name, unsigned int reason) {
    Message message = MessageTo(name);
    while (OsMsgAsynSend(message.data()) != reason) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

class Messages : public testing::Test {
protected:
    void TearDown() override {
        quor_platform::Shutdown();
        for (const char* name : {"a", "b", "fifteen_letters"}) {
            SetMessageReceiver(name, nullptr);
        }
    }
};

TEST_F(Messages, ReachTheirReceiverWholeAndLater) {
    Message sent = MessageTo("a");
    for (std::size_t i = 0; i < OS_MSG_RECEIVER_OFFSET; ++i) {
        sent[i] = static_cast<unsigned char>(i + 1);
    }
    for (std::size_t i = OS_MSG_RECEIVER_OFFSET + OS_MSG_MODULE_NAME_CAPACITY; i < OS_MSG_SIZE; ++i) {
        sent[i] = static_cast<unsigned char>(i);
    }
    const Message expected = sent;
    Message received{};
    std::thread::id thread;
    Gate done;
    SetMessageReceiver("a", [&](const unsigned char* message) {
        std::memcpy(received.data(), message, received.size());
        thread = std::this_thread::get_id();
        done.Open();
    });
    ASSERT_EQ(OsMsgAsynSend(sent.data()), 0U);
    sent.fill(0xFF);  // the platform has its own copy
    ASSERT_TRUE(done.Wait());
    EXPECT_EQ(received, expected);
    EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(Messages, KeepTheirOrder) {
    std::vector<unsigned char> ids;
    Counter count;
    SetMessageReceiver("a", [&](const unsigned char* message) {
        ids.push_back(message[OS_MSG_ID_OFFSET]);
        count.Add();
    });
    for (unsigned char id = 0; id < 200; ++id) {
        Message message = MessageTo("a", id);
        ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    }
    ASSERT_TRUE(count.Reached(200));
    for (unsigned char id = 0; id < 200; ++id) {
        EXPECT_EQ(ids[id], id);
    }
}

TEST_F(Messages, GoToTheReceiverThatTheyName) {
    Counter a;
    Counter b;
    SetMessageReceiver("a", [&](const unsigned char*) { a.Add(); });
    SetMessageReceiver("fifteen_letters", [&](const unsigned char*) { b.Add(); });
    Message toB = MessageTo("fifteen_letters");
    ASSERT_EQ(OsMsgAsynSend(toB.data()), 0U);
    ASSERT_TRUE(b.Reached(1));
    EXPECT_EQ(a.Value(), 0);
}

TEST_F(Messages, AreRefusedWithoutAReceiver) {
    Message nobody = MessageTo("nobody");
    Message unnamed = MessageTo("");
    Message endless = MessageTo("sixteen_letters!");
    EXPECT_NE(OsMsgAsynSend(nobody.data()), 0U);
    EXPECT_NE(OsMsgAsynSend(unnamed.data()), 0U);
    EXPECT_NE(OsMsgAsynSend(endless.data()), 0U);
    EXPECT_NE(OsMsgAsynSend(nullptr), 0U);
    EXPECT_FALSE(quor_platform::LastFailure().text.empty());
}

TEST_F(Messages, ReceiversNeedANameThatAMessageCanHold) {
    for (const std::string& name : {std::string(), std::string("sixteen_letters!"), std::string("a\0b", 3)}) {
        bool released = true;
        SetMessageReceiver(name, [&released](const unsigned char*) { released = false; });
        EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::Stage::kSettings);
        Message message = MessageTo(name.substr(0, OS_MSG_MODULE_NAME_CAPACITY));
        EXPECT_NE(OsMsgAsynSend(message.data()), 0U);
        EXPECT_TRUE(released);
    }
}

TEST_F(Messages, BeyondTheQueueAreRefused) {
    Gate entered;
    Gate release;
    Counter count;
    SetMessageReceiver("a", [&](const unsigned char*) {
        entered.Open();
        release.Wait();
        count.Add();
    });
    Message message = MessageTo("a");
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    ASSERT_TRUE(entered.Wait());
    int accepted = 0;
    while (OsMsgAsynSend(message.data()) == 0) {
        ASSERT_LT(++accepted, 100000);
    }
    EXPECT_EQ(accepted, 1024);
    EXPECT_EQ(quor_platform::LastFailure().stage, quor_platform::Stage::kQueue);
    release.Open();
    EXPECT_TRUE(count.Reached(accepted + 1)) << "what was accepted arrives";
    EXPECT_EQ(OsMsgAsynSend(message.data()), 0U);
    EXPECT_TRUE(count.Reached(accepted + 2));
}

TEST_F(Messages, RemovingAReceiverWaitsForARunningCallAndDropsTheRest) {
    Gate entered;
    std::atomic<bool> ended{false};
    Counter calls;
    SetMessageReceiver("a", [&](const unsigned char*) {
        calls.Add();
        entered.Open();
        AwaitRefusal("a", ESRCH);
        ended = true;
    });
    Message message = MessageTo("a");
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    ASSERT_TRUE(entered.Wait());
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    SetMessageReceiver("a", nullptr);
    EXPECT_TRUE(ended);
    EXPECT_NE(OsMsgAsynSend(message.data()), 0U);
    Counter next;
    SetMessageReceiver("a", [&](const unsigned char*) { next.Add(); });
    SetMessageReceiver("b", [&](const unsigned char*) { next.Add(); });
    Message last = MessageTo("b");
    ASSERT_EQ(OsMsgAsynSend(last.data()), 0U);
    ASSERT_TRUE(next.Reached(1));
    EXPECT_EQ(calls.Value(), 1);
    EXPECT_EQ(next.Value(), 1) << "a new receiver does not get what waited for the old one";
}

TEST_F(Messages, AReceiverMayReplaceAndRemoveItself) {
    Counter first;
    Counter second;
    SetMessageReceiver("a", [&](const unsigned char*) {
        SetMessageReceiver("a", [&](const unsigned char*) {
            SetMessageReceiver("a", nullptr);
            second.Add();
        });
        first.Add();
    });
    Message message = MessageTo("a");
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    ASSERT_TRUE(first.Reached(1));
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    ASSERT_TRUE(second.Reached(1));
    EXPECT_NE(OsMsgAsynSend(message.data()), 0U);
}

TEST_F(Messages, ShutdownWaitsAndDeliveryStartsAgain) {
    Gate entered;
    std::atomic<bool> ended{false};
    Counter calls;
    SetMessageReceiver("a", [&](const unsigned char*) {
        if (!ended) {
            entered.Open();
            AwaitRefusal("a", ECANCELED);
        }
        ended = true;
        calls.Add();
    });
    Message message = MessageTo("a");
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    ASSERT_TRUE(entered.Wait());
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    quor_platform::Shutdown();
    EXPECT_TRUE(ended);
    EXPECT_EQ(calls.Value(), 1) << "what waited is dropped";
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U) << "the receiver is still registered";
    EXPECT_TRUE(calls.Reached(2));
}

TEST_F(Messages, ShutdownFromAReceiverIsRefused) {
    Counter calls;
    SetMessageReceiver("a", [&](const unsigned char*) {
        quor_platform::Shutdown();
        calls.Add();
    });
    Message message = MessageTo("a");
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    ASSERT_EQ(OsMsgAsynSend(message.data()), 0U);
    EXPECT_TRUE(calls.Reached(2));
}

TEST_F(Messages, SurviveConcurrentUse) {
    constexpr int kRounds = 500;
    std::atomic<int> delivered{0};
    RunInThreads(4, [&](int number) {
        for (int round = 0; number > 0 && round < kRounds; ++round) {
            Message message = MessageTo(round % 2 == 0 ? "a" : "b");
            OsMsgAsynSend(message.data());
        }
        for (int round = 0; number == 0 && round < kRounds; ++round) {
            int alive = 1;  // the receiver's own; a call after the removal would use a dead variable
            SetMessageReceiver("a", [&](const unsigned char*) { delivered += alive; });
            SetMessageReceiver("b", [&](const unsigned char*) { delivered += alive; });
            SetMessageReceiver("a", nullptr);
            SetMessageReceiver("b", nullptr);
        }
    });
    EXPECT_LE(delivered, 3 * kRounds);
}

}  // namespace
