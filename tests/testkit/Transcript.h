// What the user saw during a test: the command line and the message boxes.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sdk/control/HostControl.h"

namespace testkit {

// Every test starts with a fresh host: no transcript, no answers, default variables and a
// new working database.
class HostTest : public ::testing::Test {
protected:
    void SetUp() override { lmhost::resetHost(); }
    void TearDown() override { lmhost::resetHost(); }
};

// The command-line text printed so far.
std::wstring commandLine();

// The transcript as one text: prints as they came, each message box as a line
// "[<title>|<style>] <text> -> <answer>".
std::wstring transcript();

} // namespace testkit
