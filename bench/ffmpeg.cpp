// FFmpeg's v210 decoder, a picture at a call, with one thread.
extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstring>
#include <memory>

#include "job.h"
#include "reference.h"

namespace {

Ready prepare(const Job& job) {
    std::shared_ptr<AVCodecContext> context(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_V210)),
                                            [](AVCodecContext* c) { avcodec_free_context(&c); });
    std::shared_ptr<AVPacket> packet(av_packet_alloc(), [](AVPacket* p) { av_packet_free(&p); });
    std::shared_ptr<AVFrame> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
    context->width = job.dst_width;
    context->height = job.dst_height;
    context->thread_count = 1;
    avcodec_open2(context.get(), nullptr, nullptr);
    // A packet that owns its bytes is not copied; these stay the bench's.
    const size_t bytes = job.src_pixels() * 4;
    packet->buf = av_buffer_create(
        const_cast<uint8_t*>(job.a_bytes()), bytes, [](void*, uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
    packet->data = packet->buf->data;
    packet->size = int(bytes);
    auto decode = [=] {
        return avcodec_send_packet(context.get(), packet.get()) == 0 &&
               avcodec_receive_frame(context.get(), frame.get()) == 0;
    };
    auto agrees = [=] {
        if (!decode()) return false;
        std::vector<uint16_t> row(size_t(job.dst_width) * 2);
        for (int y = 0; y < job.dst_height; ++y) {
            reference::v210yuv422p10(row.data(), job.a_bytes() + size_t(y) * size_t(job.src_width) * 4,
                                     job.dst_width);
            const uint16_t* expected = row.data();
            for (int plane = 0; plane < 3; ++plane) {
                const int samples = plane == 0 ? job.dst_width : job.dst_width / 2;
                const uint8_t* line = frame->data[plane] + y * frame->linesize[plane];
                if (std::memcmp(line, expected, size_t(samples) * 2) != 0) return false;
                expected += samples;
            }
        }
        return true;
    };
    return {repeat(decode), agrees};
}

[[maybe_unused]] const auto added = peers().insert({"v210yuv422p10", {"peer", "FFmpeg's decoder", prepare}});

}  // namespace
