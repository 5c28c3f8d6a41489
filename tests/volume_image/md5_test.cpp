#include <trelis/volume_image/md5.h>

#include <string>

#include <gtest/gtest.h>

#include <trelis/foundation/bad_cast.h>

namespace {

TEST(Md5, AgreesWithAnotherImplementationForEveryLengthHoweverTheBytesAreSplit) {
    trelis::MD5Hash whole, hash;
    trelis::MD5Hasher digests;
    for (std::string text; text.size() < 300; text += static_cast<char>(text.size())) {
        trelis::MD5Hasher::GetHash(text.data(), text.size(), whole);
        digests.AddData(whole.bytes.data(), whole.bytes.size());
        for (std::size_t split = 0; split <= text.size(); split += 1 + split / 5) {
            trelis::MD5Hasher hasher;
            hasher.AddData(text.data(), split);
            hasher.GetHash(hash);
            hasher.AddData(text.data() + split, text.size() - split);
            hasher.GetHash(hash);
            EXPECT_EQ(hash, whole) << text.size() << " split at " << split;
        }
    }
    EXPECT_THROW(digests.AddData(nullptr, 0x80000000U), trelis::BadCast);
    digests.GetHash(hash);
    EXPECT_EQ(hash.ToString(), L"25FECB951FBCCA8A0793500AF76DFAB4");
    trelis::MD5Hasher::GetHash("message digest", 14, hash);
    EXPECT_EQ(hash.ToString(), L"F96B697D7CB7938D525A2F31AAF161D0");
}

}  // namespace
