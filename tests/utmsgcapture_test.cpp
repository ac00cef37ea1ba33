// tests/utmsgcapture_test.cpp
#include "utmsgcapture.h"

#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include "message_files.h"

using ketriope::captured_post;
using ketriope::post_capture;

namespace {

class UtMsgCapture : public testing::Test {
protected:
    UtMsgCapture()
    {
        files_.tool({{"0001", "Error", "cannot open $$s"},
                     {"0002", "Warning", "$$s at $$d"},
                     {"0003", "Info", "done"},
                     {"0004", "Debug", "step $$d"}});
    }

    /// What is shown is not looked at.
    void post(auto... arguments)
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        tool_->postMsg(arguments...);
        testing::internal::GetCapturedStdout();
        testing::internal::GetCapturedStderr();
    }

    message_files files_;
    std::unique_ptr<msgManager> tool_ = std::make_unique<msgManager>("tool");
};

std::vector<std::string> mids(const post_capture& capture)
{
    std::vector<std::string> found;
    for (const captured_post& each : capture.posts()) found.push_back(each.mid);
    return found;
}

using texts = std::vector<std::string>;

TEST_F(UtMsgCapture, TellsNumberTypeAndArgumentsOfEachPostInOrder)
{
    const post_capture capture;
    post("0002", "net n1", 7);
    post("0001", "a.v");
    const auto posts = capture.posts();
    ASSERT_EQ(posts.size(), 2U);
    EXPECT_EQ(posts[0].sid, 1);
    EXPECT_EQ(posts[0].mid, "3000002");
    EXPECT_EQ(posts[0].type, MSG_WARNING);
    EXPECT_EQ(posts[0].arguments, (texts{"net n1", "7"}));
    EXPECT_EQ(posts[1].sid, 2);
    EXPECT_EQ(posts[1].mid, "3000001");
    EXPECT_EQ(posts[1].type, MSG_ERROR);
    EXPECT_EQ(posts[1].arguments, (texts{"a.v"}));
}

TEST_F(UtMsgCapture, BeginsBehindWhatWasPostedBefore)
{
    post("0001", "before");
    const post_capture capture;
    EXPECT_EQ(capture.count(), 0U);
    EXPECT_TRUE(capture.posts().empty());
    post("0003");
    EXPECT_EQ(mids(capture), (texts{"3000003"}));
}

TEST_F(UtMsgCapture, RestartForgetsAndBeginsAnew)
{
    post_capture capture;
    post("0001", "a");
    capture.restart();
    EXPECT_EQ(capture.count(), 0U);
    post("0003");
    EXPECT_EQ(mids(capture), (texts{"3000003"}));
}

TEST_F(UtMsgCapture, StopIsTheSecondPointUntilARestart)
{
    post_capture capture;
    post("0001", "a");
    capture.stop();
    post("0003");
    EXPECT_EQ(mids(capture), (texts{"3000001"}));
    capture.restart();
    post("0002", "b", 1);
    EXPECT_EQ(mids(capture), (texts{"3000002"}));
}

TEST_F(UtMsgCapture, StoppedBeforeAnyPostItSeesNone)
{
    post_capture capture;
    capture.stop();
    post("0001", "a");
    EXPECT_EQ(capture.count(), 0U);
    EXPECT_FALSE(capture.has("3000001"));
}

TEST_F(UtMsgCapture, CountsByNumberAndBySeverities)
{
    const post_capture capture;
    post("0001", "a");
    post("0001", "b");
    post("0002", "c", 1);
    post("0003");
    EXPECT_EQ(capture.count(), 4U);
    EXPECT_EQ(capture.count("3000001"), 2U);
    EXPECT_EQ(capture.count("3000009"), 0U);
    EXPECT_EQ(capture.count("0001"), 0U) << "a number has seven digits";
    EXPECT_EQ(capture.count(MSG_ERROR), 2U);
    EXPECT_EQ(capture.count(MSG_ERROR | MSG_INFO), 3U);
    EXPECT_EQ(capture.count(MSG_STATUS), 0U);
    EXPECT_EQ(capture.count(MSG_ALL), 4U);
    EXPECT_EQ(capture.posts("3000001").size(), 2U);
    EXPECT_EQ(capture.posts("3000001")[1].arguments, (texts{"b"}));
}

TEST_F(UtMsgCapture, HasComparesAllArguments)
{
    const post_capture capture;
    post("0002", "c", 1);
    EXPECT_TRUE(capture.has("3000002"));
    EXPECT_TRUE(capture.has("3000002", {"c", "1"}));
    EXPECT_FALSE(capture.has("3000002", {"c"}));
    EXPECT_FALSE(capture.has("3000002", {"c", "2"}));
    EXPECT_FALSE(capture.has("3000001", {"c", "1"}));
}

TEST_F(UtMsgCapture, SeesPostsThatASettingHides)
{
    tool_->disableMsg("0003", 0);
    tool_->disableMsgType(MSG_WARNING);
    const post_capture capture;
    post("0003");
    post("0002", "c", 1);
    EXPECT_EQ(mids(capture), (texts{"3000003", "3000002"}));
}

TEST_F(UtMsgCapture, SeesDebugMessagesThatAreHeldBack)
{
    const scoped_environment no_debug("QVS_SHOW_DEBUG_MESSAGE", nullptr);
    const post_capture capture;
    post("0004", 3);
    EXPECT_EQ(capture.count(MSG_DEBUG), 1U);
    EXPECT_TRUE(capture.has("3000004", {"3"}));
}

TEST_F(UtMsgCapture, TellsTheTypeThatASettingGives)
{
    const post_capture capture;
    post("0003");
    EXPECT_EQ(capture.posts()[0].type, MSG_INFO);
    tool_->setMsgType("0003", MSG_ERROR);
    EXPECT_EQ(capture.posts()[0].type, MSG_ERROR);
    EXPECT_EQ(capture.count(MSG_INFO), 0U);
}

TEST_F(UtMsgCapture, SeesNoMessageThatIsUnknown)
{
    const post_capture capture;
    post("0099");
    EXPECT_EQ(capture.count(), 0U);
}

TEST_F(UtMsgCapture, SeesLinesOfTheLegacyManagerButNoStatus)
{
    const post_capture capture;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    tool_->postUtMsgMgr(MSG_UT_ERROR, "ERROR - it failed", 1);
    tool_->postUtMsgMgr(MSG_STATUS, "half way", 1);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(mids(capture), (texts{"1009990"}));
    EXPECT_EQ(capture.count(MSG_ERROR), 1U);
}

TEST_F(UtMsgCapture, TellsOfPostsWithoutACatalogue)
{
    files_.remove("msgindex.xml");
    files_.restart();
    const post_capture capture;
    testing::internal::CaptureStderr();
    msgManager().postUtMsgMgr(MSG_UT_ERROR, "ERROR - it failed", 1);
    testing::internal::GetCapturedStderr();
    const auto posts = capture.posts();
    ASSERT_EQ(posts.size(), 1U);
    EXPECT_EQ(posts[0].mid, "1009990");
    EXPECT_EQ(posts[0].type, MSG_ALL);
    EXPECT_EQ(capture.count(MSG_ERROR), 0U) << "a severity that is not known is none";
    EXPECT_EQ(capture.count(MSG_ALL), 0U);
    EXPECT_EQ(capture.count(), 1U);
}

TEST_F(UtMsgCapture, KeepsTheEndsOfALongArgument)
{
    const post_capture capture;
    const std::string longest(600, 'x');
    post("0001", longest.c_str());
    EXPECT_EQ(capture.posts()[0].arguments[0], std::string(325, 'x') + "   ....   " + std::string(165, 'x'));
}

TEST_F(UtMsgCapture, LosesWhatIsForgotten)
{
    const post_capture capture;
    post("0001", "a");
    post("0003");
    tool_->resetMsgBuffer(MSG_ERROR);
    EXPECT_EQ(mids(capture), (texts{"3000003"}));
    tool_->resetMsgBuffer(MSG_ALL);
    EXPECT_EQ(capture.count(), 0U);
}

TEST_F(UtMsgCapture, TwoOverlapWithoutHarm)
{
    const post_capture outer;
    post("0001", "a");
    {
        const post_capture inner;
        post("0003");
        EXPECT_EQ(mids(inner), (texts{"3000003"}));
    }
    EXPECT_EQ(mids(outer), (texts{"3000001", "3000003"}));
}

TEST_F(UtMsgCapture, SeesThePostsOfOtherThreads)
{
    tool_->disableMsgType(MSG_INFO);
    const post_capture capture;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([] {
            msgManager messages("tool");
            for (int k = 0; k < 25; ++k) messages.postMsg("0003");
        });
    for (std::thread& each : threads) each.join();
    EXPECT_EQ(capture.count("3000003"), 100U);
}

/// A database near the highest number of a post.
class late_database : public msgDbManager {
public:
    late_database() { m_lastSid = std::numeric_limits<int>::max() - 2; }
};

TEST_F(UtMsgCapture, KeepsTheOrderWhereTheNumbersOfPostsBeginAgain)
{
    delete msgDbManager::findUniqueDbManager();
    msgDbManager::setUniqueDbManager(new late_database);
    post_capture capture;
    post("0001", "a");  // the highest number but one
    post("0002", "b", 1);
    post("0003");
    EXPECT_EQ(mids(capture), (texts{"3000001", "3000002", "3000003"}));
    EXPECT_EQ(capture.posts()[1].sid, 1);
    capture.stop();
    post("0001", "c");
    EXPECT_EQ(capture.count(), 3U);
    capture.restart();
    post("0003");
    EXPECT_EQ(mids(capture), (texts{"3000003"}));
}

}  // namespace
