// What is told of the keys, against the module itself.
#include <gtest/gtest.h>

#include "params/parameter_info.h"
#include "tests/support/module_host.h"

namespace {

using namespace cam;

TEST(ParameterInfo, StatesWhatAFreshModuleAnswers) {
    tests::ModuleHost host;
    for (const ParameterInfo& info : AllParameterInfo()) {
        if (info.initial) {
            EXPECT_EQ(host.Get(std::string(info.key)), *info.initial) << info.key;
            EXPECT_EQ(host.GetStatus(std::string(info.key)), kOk) << info.key;
        } else {
            EXPECT_TRUE(info.key == "CameraName" || info.key == "CameraImage" ||
                        info.access == KeyAccess::Write || info.access == KeyAccess::Command)
                << info.key;
        }
    }
}

TEST(ParameterInfo, FindsAKeyAsTheModuleDoes) {
    EXPECT_EQ(FindParameterInfo("MyCameraMoldX"), FindParameterInfo("CameraMold"));
    EXPECT_EQ(FindParameterInfo("TypeX"), nullptr);
    EXPECT_EQ(FindParameterInfo("Width"), nullptr);
}

}  // namespace
