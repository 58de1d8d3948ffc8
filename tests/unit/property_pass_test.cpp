#include "props/property_pass.h"

#include <vxblade/props.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

PropertiesHandle open(const std::string& text) {
    return propReadPropertiesBuffer(text.data(), static_cast<int>(text.size()));
}

Pairs linearPass(PropertiesHandle handle) {
    Pairs pairs;
    for (vx::PropertyPass pass(handle); pass.next();) {
        pairs.emplace_back(pass.key(), pass.value());
    }
    return pairs;
}

TEST(PropertyPass, VisitsEveryOccurrenceAndSaysWhereItStopped) {
    PropertiesHandle const handle =
        open("a=\"1234\"\nb=\"2\"\na=\"" + std::string(300, 'v') + "\"\nc=\"4\"\nbad\nd=\"5\"");
    EXPECT_EQ(linearPass(handle),
              (Pairs{{"a", "1234"}, {"b", "2"}, {"a", std::string(255, 'v')}, {"c", "4"}}));
    vx::PropertyPass pass(handle);
    ASSERT_TRUE(pass.next() && pass.next());
    EXPECT_EQ(std::string(pass.value(), 5), std::string("2\0\0\0\0", 5)) << "of the longer value";
    while (pass.next()) {
    }
    EXPECT_STREQ(pass.rest(), "bad\nd=\"5\"");
    propClosePropertiesFile(handle);
}

TEST(PropertyApi, Values) {
    std::string const text = "a.bc=\"long\"\na.b=\"\"\nx=\"" + std::string(300, 'v') +
                             "\"\na.b=\"second\"\nbad line\nlost=\"1\"";
    PropertiesHandle const handle = open(text);
    std::tuple<const char*, int, std::size_t> const cases[] = {
        {"a.b", 1, 0}, {"a.bc", 5, 4}, {"x", 301, 255}, {"a", 0, 0}, {"lost", 0, 0}};
    for (auto const& [key, result, length] : cases) {
        char value[256] = {};
        EXPECT_EQ(propGetValue(handle, key, value, sizeof value), result) << key;
        EXPECT_TRUE(result <= 0 || std::strlen(value) == length) << key;
    }
    propClosePropertiesFile(handle);
}

TEST(PropertyApi, NextKeys) {
    PropertiesHandle const handle = open("first=\"1\"\nlonger.key=\"2\"\n");
    char key[8] = "";
    EXPECT_EQ(propGetNext(handle, nullptr, key, sizeof key), 6);
    EXPECT_STREQ(key, "first");
    EXPECT_EQ(propGetNext(handle, key, key, sizeof key), 11) << "the size that the key needs";
    EXPECT_STREQ(key, "longer.");
    EXPECT_EQ(propGetNext(handle, key, key, sizeof key), 0) << "a cut key is found nowhere";
    char long_previous[] = "a key of more characters than the buffer has";
    EXPECT_EQ(propGetNext(handle, long_previous, key, 4), 0);
    propClosePropertiesFile(handle);
}

TEST(PropertyApi, NullHandles) {
    char buffer[4];
    unsigned long crc = 7;
    EXPECT_EQ(propGetNext(nullptr, nullptr, buffer, 4), 0);
    EXPECT_EQ(propGetValue(nullptr, "k", buffer, 4), 0);
    EXPECT_EQ(propGetCrc(nullptr, &crc, &crc), 0);
    EXPECT_EQ(crc, 7U);
    propClosePropertiesFile(nullptr);
    PropertiesHandle const empty = propReadPropertiesBuffer(nullptr, -3);
    EXPECT_EQ(propGetNext(empty, nullptr, buffer, 4), 0);
    propClosePropertiesFile(empty);
}

TEST(PropertyApi, VersionBlock) {
    PropertiesHandle const handle =
        open("properties.file.version=\"1234567890123456789\"\nproperties.file.versionX=\"no\"");
    VersionBlock block{};
    std::strcpy(block.product, "untouched");
    EXPECT_EQ(readDefaultConfigurationVersion(handle, &block), -1);
    EXPECT_STREQ(block.version, "123456789012345");
    EXPECT_STREQ(block.product, "untouched");
    propClosePropertiesFile(handle);
}

} // namespace
