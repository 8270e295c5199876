// foundation::network::InetAddress with local names only (no network on the build machine).
#include <foundation/network/InetAddress.hpp>

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using foundation::network::InetAddress;
using foundation::network::UnknownHostException;

TEST(InetAddress, NumericAddresses) {
    const auto v4 = InetAddress::getAllByName("127.0.0.1");
    ASSERT_EQ(v4.size(), 1u);
    EXPECT_EQ(v4[0].getVersion(), 4);
    EXPECT_EQ(v4[0].toString(), "127.0.0.1");
    EXPECT_EQ(v4[0].bytes(), (std::vector<std::uint8_t>{127, 0, 0, 1}));
    EXPECT_TRUE(v4[0].isLoopback());

    const auto v6 = InetAddress::getAllByName("::1");
    ASSERT_EQ(v6.size(), 1u);
    EXPECT_EQ(v6[0].getVersion(), 6);
    EXPECT_EQ(v6[0].toString(), "::1");
    EXPECT_EQ(v6[0].bytes().size(), 16u);
    EXPECT_TRUE(v6[0].isLoopback());

    const auto other = InetAddress::getAllByName("10.1.2.3");
    EXPECT_FALSE(other.at(0).isLoopback());
}

TEST(InetAddress, LocalhostHasAnIpv4LoopbackAndNoRepeats) {
    const auto all = InetAddress::getAllByName("localhost");
    const auto v4 = std::find_if(all.begin(), all.end(),
                                 [](const InetAddress& a) { return a.getVersion() == 4; });
    ASSERT_NE(v4, all.end());
    EXPECT_EQ(v4->toString(), "127.0.0.1");
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(std::count(all.begin(), all.end(), all[i]), 1) << all[i].toString();
    }
}

TEST(InetAddress, UnresolvableNamesThrow) {
    // ".invalid" is reserved and never resolves.
    for (const char* name : {"", "no-such-host.invalid", "999.1.1.1.invalid"}) {
        try {
            (void)InetAddress::getAllByName(name);
            ADD_FAILURE() << "resolved '" << name << "'";
        } catch (const UnknownHostException& e) {
            EXPECT_NE(std::string(e.what()).find(name), std::string::npos) << e.what();
        }
    }
}

}  // namespace
