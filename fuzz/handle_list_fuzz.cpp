// Operations read from the input drive a handle list and a plain model together; any
// difference in a result, the copied-out bytes, the count or the block's bytes is a crash.
//
// Input: one byte choosing the header size, then per operation an opcode byte, an index
// byte (its top bits choose in range, just past the end, negative or far away), a length
// byte followed by that many data bytes, a buffer-size byte and a field byte.
#include <tlvutl/messages.h>

#include "memory/handle_list_model.h"

#include <cstdio>
#include <cstdlib>

namespace {

class Reader {
public:
    Reader(const uint8_t* data, size_t size) : p_(data), end_(data + size) {}
    bool Empty() const { return p_ == end_; }
    uint8_t Byte() { return p_ == end_ ? 0 : *p_++; }

private:
    const uint8_t* p_;
    const uint8_t* end_;
};

int32_t IndexFrom(uint8_t b, uint32_t count) {
    switch (b >> 6) {
    case 0:
    case 1:
        return count ? static_cast<int32_t>((b & 0x7F) % count) : 0;
    case 2:
        return static_cast<int32_t>(count + (b & 0x3F));
    default:
        return (b & 1) ? -1 - (b & 0x1E) : 0x40000000 + (b & 0x3E);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Reader in(data, size);
    const uint8_t h = in.Byte();
    const uint32_t headerSize = h < 128 ? 12 : 12 + (h % 40);
    HMEM list = headerSize == 12 ? LIST_Ctor() : LIST_CtorExt(headerSize);
    tlvtest::HandleListModel model(headerSize);
    TlvUtl::ScopedMessageCapture sink;
    int fatal = 0;
    for (int steps = 0; !in.Empty() && steps < 4000; ++steps) {
        tlvtest::Operation op;
        op.op = static_cast<tlvtest::Op>(in.Byte() % static_cast<uint8_t>(tlvtest::Op::kCount));
        op.index = IndexFrom(in.Byte(), model.Count());
        const uint8_t length = in.Byte() % 48;
        for (uint8_t i = 0; i < length; ++i)
            op.data.push_back(in.Byte());
        op.bufferSize = in.Byte() % 64;
        const uint8_t field = in.Byte();
        op.fieldOffset = field & 0x0F;
        op.fieldLength = field >> 4;
        const std::string error = tlvtest::ApplyAndCheck(list, model, op, fatal);
        if (!error.empty()) {
            std::fprintf(stderr, "step %d op %d index %d size %zu: %s\n", steps,
                         static_cast<int>(op.op), op.index, op.data.size(), error.c_str());
            std::abort();
        }
        size_t boxes = 0;
        for (const auto& m : sink.Messages())
            boxes += m.kind == TlvUtl::CapturingMessageSink::Kind::Box ? 1 : 0;
        if (boxes != static_cast<size_t>(fatal)) {
            std::fprintf(stderr, "step %d: %zu fatal reports, expected %d\n", steps, boxes, fatal);
            std::abort();
        }
    }
    LIST_Dtor(list);
    return 0;
}
