// What is told of the keys, against the module itself.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "params/key_table.h"
#include "params/parameter_info.h"
#include "tests/support/module_host.h"

namespace {

using namespace cam;

bool Has(const std::vector<TableKey>& keys, const ParameterInfo& info) {
    return std::any_of(keys.begin(), keys.end(), [&](const TableKey& key) {
        return key.key == info.key && (key.match == KeyMatch::Contained) == info.contained;
    });
}

TEST(ParameterInfo, TellsOfEveryKeyOfTheModuleAndOfNoOther) {
    std::set<std::string_view> told;
    for (const ParameterInfo& info : AllParameterInfo()) {
        EXPECT_TRUE(told.insert(info.key).second) << info.key;
        const bool read = info.access == KeyAccess::Read || info.access == KeyAccess::ReadWrite;
        EXPECT_EQ(Has(CatalogueKeys(), info), read) << info.key;
        EXPECT_EQ(Has(CommandKeys(), info), info.access != KeyAccess::Read) << info.key;
    }
    for (const auto& keys : {CatalogueKeys(), CommandKeys()}) {
        for (const TableKey& key : keys) {
            EXPECT_TRUE(told.contains(key.key)) << key.key;
        }
    }
}

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
