// Helpers shared by the XMP tests: a file's bytes, and a packet read back chunk by chunk.
#pragma once

#include <tlvutl/xmp.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#ifndef TLVUTL_XML_TEST_DATA
#error "TLVUTL_XML_TEST_DATA names the folder of the expected packets"
#endif

inline std::string ReadFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The packet pinned for the full store, with its creation date in Central European time.
inline std::string FullStorePacket() {
    return ReadFile(std::filesystem::path(TLVUTL_XML_TEST_DATA) / "xmp_full_store.xmp");
}

// The whole packet, read back chunk by chunk as an image writer reads it.
inline std::string Packet(WXmpDoc& doc) {
    std::string all;
    std::vector<char> chunk;
    for (int i = 0; i < doc.GetNumberOfChunks(); ++i) {
        const long n = doc.GetDataToVector(chunk, i);
        EXPECT_EQ(n, doc.GetChunkSize(i)) << "chunk " << i;
        if (n > 0)
            all.append(chunk.data(), static_cast<std::size_t>(n));
    }
    EXPECT_EQ(all.size(), doc.GetDataSize());
    return all;
}
