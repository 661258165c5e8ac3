// How a packet of a given size is cut into the chunks image writers embed.
#ifndef TLVUTL_XML_XMP_CHUNKS_H
#define TLVUTL_XML_XMP_CHUNKS_H

#include <tlvutl/xmp.h>

#include <cstdint>
#include <vector>

namespace tlv::xml {

// Chunks of maxSize bytes in order, the last holding the remaining 1 to maxSize bytes; none
// for an empty packet. size must fit in 32 bits.
std::vector<XmpChunkEntry> SplitIntoChunks(std::uint64_t size, std::uint32_t maxSize);

} // namespace tlv::xml

#endif
