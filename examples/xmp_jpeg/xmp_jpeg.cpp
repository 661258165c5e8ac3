// An XMP packet written into a JPEG: the metadata goes into a property store, WXmpDoc turns
// it into a packet handed out in chunks, and the chunks are joined into the APP1 segment that
// carries XMP, placed after the JFIF header of the image.
//
// usage: xmp_jpeg [OUT.jpg]   (without an argument the image goes to a temporary folder and
// is removed once it has been checked)
#include <tlvutl/encoding.h>
#include <tlvutl/property_store.h>
#include <tlvutl/xmp.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// An 8 x 8 grey JPEG: start of image, JFIF header (20 bytes in all), then the image itself.
const unsigned char kImage[] = {
    0xff, 0xd8, 0xff, 0xe0, 0x00, 0x10, 0x4a, 0x46, 0x49, 0x46, 0x00, 0x01, 0x01, 0x00, 0x00,
    0x01, 0x00, 0x01, 0x00, 0x00, 0xff, 0xdb, 0x00, 0x43, 0x00, 0x10, 0x0b, 0x0c, 0x0e, 0x0c,
    0x0a, 0x10, 0x0e, 0x0d, 0x0e, 0x12, 0x11, 0x10, 0x13, 0x18, 0x28, 0x1a, 0x18, 0x16, 0x16,
    0x18, 0x31, 0x23, 0x25, 0x1d, 0x28, 0x3a, 0x33, 0x3d, 0x3c, 0x39, 0x33, 0x38, 0x37, 0x40,
    0x48, 0x5c, 0x4e, 0x40, 0x44, 0x57, 0x45, 0x37, 0x38, 0x50, 0x6d, 0x51, 0x57, 0x5f, 0x62,
    0x67, 0x68, 0x67, 0x3e, 0x4d, 0x71, 0x79, 0x70, 0x64, 0x78, 0x5c, 0x65, 0x67, 0x63, 0xff,
    0xc0, 0x00, 0x0b, 0x08, 0x00, 0x08, 0x00, 0x08, 0x01, 0x01, 0x11, 0x00, 0xff, 0xc4, 0x00,
    0x14, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x04, 0xff, 0xc4, 0x00, 0x16, 0x10, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x06, 0x43, 0xff, 0xda, 0x00,
    0x08, 0x01, 0x01, 0x00, 0x00, 0x3f, 0x00, 0x3a, 0x54, 0xcf, 0xff, 0xd9};
constexpr std::size_t kAfterJfif = 20;

// The identifier that opens an APP1 segment holding an XMP packet, with its NUL.
const char kXmpNamespace[] = "http://ns.adobe.com/xap/1.0/";

} // namespace

int main(int argc, char** argv) {
    auto store = std::make_shared<MemoryPropertyStore>();
    store->SetValue(PKEY_Title, PropVariant::FromString(L"Hafen im Morgengrauen"));
    store->SetValue(PKEY_Author, PropVariant::FromStringVector({L"Ana Lúcia", L"Bo"}));
    store->SetValue(PKEY_Keywords, PropVariant::FromStringVector({L"harbour", L"dawn"}));
    store->SetValue(PKEY_Rating, PropVariant::FromUInt16(75)); // 4 stars

    WXmpDoc xmp(store);
    if (xmp.CreateFromPropertyStore() != 0) {
        std::fprintf(stderr, "no packet: error %d\n", xmp.GetError());
        return 1;
    }
    // The packet, chunk by chunk.
    std::string packet;
    for (int i = 0; i < xmp.GetNumberOfChunks(); ++i) {
        std::vector<char> chunk;
        if (xmp.GetDataToVector(chunk, i) < 0)
            return 1;
        packet.append(chunk.begin(), chunk.end());
    }
    const std::size_t length = 2 + sizeof kXmpNamespace + packet.size();
    if (packet.size() != xmp.GetDataSize() || length > 0xffff)
        return 1;

    std::string jpeg(reinterpret_cast<const char*>(kImage), kAfterJfif);
    jpeg += "\xff\xe1";
    jpeg += static_cast<char>(length >> 8);
    jpeg += static_cast<char>(length & 0xff);
    jpeg.append(kXmpNamespace, sizeof kXmpNamespace);
    jpeg += packet;
    jpeg.append(reinterpret_cast<const char*>(kImage) + kAfterJfif, sizeof kImage - kAfterJfif);

    char folder[] = "/tmp/tlvutl-xmp-XXXXXX";
    const bool keep = argc > 1;
    if (!keep && !mkdtemp(folder))
        return 1;
    const std::string path = keep ? argv[1] : std::string(folder) + "/Hafen.jpg";
    FILE* out = std::fopen(path.c_str(), "wb");
    if (!out || std::fwrite(jpeg.data(), 1, jpeg.size(), out) != jpeg.size() || std::fclose(out))
        return 1;
    std::printf("%s: %zu bytes, of which a packet of %zu bytes in %d chunks\n", path.c_str(),
                jpeg.size(), packet.size(), xmp.GetNumberOfChunks());

    const bool titled = packet.find("Hafen im Morgengrauen") != std::string::npos;
    if (!keep) {
        unlink(path.c_str());
        rmdir(folder);
    }
    return titled ? 0 : 1;
}
