#include "AravisStream.h"

#include <string>
#include <thread>
#include <vector>

#include "AravisLink.h"
#include "DetachedTeardown.h"
#include "FrameNumbering.h"
#include "StreamSocket.h"
#include "StreamThreadPriority.h"
#include "ThreadHandover.h"

namespace Orvia::Aravis::Detail {

using GenICam::Detail::CFrameChunk;
using GenICam::Detail::CFramePayload;
using GenICam::Detail::CFrameQueue;

namespace {

// Aravis's receive buffer for GigE Vision: at 200 frames of 1 MiB a second a smaller one
// overflows between two wake-ups of the stream thread.
constexpr int kSocketBufferBytes = 4 << 20;
constexpr uint64_t kNanosecondsPerSecond = 1'000'000'000;

} // namespace

// What the stream thread's callback needs; Aravis frees it once the stream and its thread are gone.
struct StreamSink {
    std::shared_ptr<CFrameQueue> queue;
    std::weak_ptr<CStreamChannel> channel;
    std::atomic<ArvStream*> stream{nullptr}; // set once Aravis has made it
    std::atomic<std::thread::id> thread{};
    std::atomic<uint64_t> frameLimit{0};
    std::atomic<uint64_t> delivered{0};
    std::atomic<uint64_t> incomplete{0};
    std::atomic<uint64_t> skipped{0};
    // Set when an acquisition starts; the stream thread then numbers from 0 again. Only the stream
    // thread touches the numbering itself.
    std::atomic<bool> restartNumbering{true};
    CFrameNumbering numbering;
};

// One Aravis stream with its buffers, alive while the stream object or any frame holds it.
struct CStreamChannel {
    std::shared_ptr<CAravisLink> link;
    TGObjectRef<ArvStream> stream;
    TGObjectRef<ArvChunkParser> chunkParser;
    std::vector<std::string> chunkNames;
    StreamSink* sink = nullptr; // owned by the stream
    uint64_t payloadSize = 0;
    uint32_t bufferCount = 0;
    uint64_t ticksPerSecond = kNanosecondsPerSecond;

    // Joins Aravis's stream thread, before the link goes.
    ~CStreamChannel() { stream.reset(); }
};

namespace {

// The handler may hold the last frame of a channel; the channel can't be released on the
// stream thread that its own teardown joins, nor on any caller when the device is lost.
void releaseChannel(CStreamChannel* channel) {
    const bool onStreamThread = channel->sink && channel->sink->thread.load() == std::this_thread::get_id();
    if (channel->link->lost() || onStreamThread) {
        runDetached([channel] { delete channel; });
    } else {
        delete channel;
    }
}

std::vector<CFrameChunk> chunksOf(CStreamChannel& channel, ArvBuffer* buffer) {
    std::vector<CFrameChunk> chunks;
    if (!channel.chunkParser || !arv_buffer_has_chunks(buffer)) {
        return chunks;
    }
    CFrameChunk chunk;
    for (const auto& name : channel.chunkNames) {
        const std::string feature = "Chunk" + name;
        CGError error;
        const int64_t value = arv_chunk_parser_get_integer_value(channel.chunkParser.get(), buffer,
                                                                 feature.c_str(), error.out());
        if (!error.failed()) {
            chunk.texts.push_back(name + ":" + std::to_string(value));
            continue;
        }
        const double number =
            arv_chunk_parser_get_float_value(channel.chunkParser.get(), buffer, feature.c_str(), error.out());
        if (!error.failed()) {
            chunk.texts.push_back(name + ":" + std::to_string(number));
        }
    }
    if (!chunk.texts.empty()) {
        chunks.push_back(std::move(chunk));
    }
    return chunks;
}

std::shared_ptr<CFramePayload> frameOf(const std::shared_ptr<CStreamChannel>& channel, ArvBuffer* buffer,
                                       uint64_t frameNumber) {
    auto frame = std::make_shared<CFramePayload>();
    size_t size = 0;
    frame->data = static_cast<const uint8_t*>(arv_buffer_get_image_data(buffer, &size));
    frame->size = size;
    frame->width = static_cast<uint32_t>(arv_buffer_get_image_width(buffer));
    frame->height = static_cast<uint32_t>(arv_buffer_get_image_height(buffer));
    frame->pixelFormat = static_cast<uint32_t>(arv_buffer_get_image_pixel_format(buffer));
    // Aravis gives nanoseconds; the frame gives the device's ticks.
    const uint64_t ns = arv_buffer_get_timestamp(buffer);
    const uint64_t ticks = channel->ticksPerSecond;
    frame->timestamp =
        ns / kNanosecondsPerSecond * ticks + ns % kNanosecondsPerSecond * ticks / kNanosecondsPerSecond;
    frame->frameId = frameNumber;
    frame->chunks = chunksOf(*channel, buffer);
    frame->owner = channel;
    frame->poolSlot = std::shared_ptr<void>(buffer, [channel](void* slot) {
        handOver(slot); // whoever read the pixels is done before Aravis fills the buffer again
        arv_stream_push_buffer(channel->stream.get(), static_cast<ArvBuffer*>(slot));
    });
    return frame;
}

// A buffer Aravis gave up on (a packet of its frame lost on the way) has the frame's id only if
// the frame's leader came; without it, the buffer keeps the id of the frame it held before, or 0
// when new. So its id is never taken: the frame it stood for is a hole in the numbers, counted
// once when the next complete frame comes. Before the first complete frame there are no numbers
// to leave a hole in, and it counts as incomplete. A frame cut short by the stream's own end
// (aborted) was not lost on the way.
void giveBackUnfinished(StreamSink& sink, ArvStream* stream, ArvBuffer* buffer) {
    if (!sink.numbering.started() && arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_ABORTED) {
        sink.incomplete.fetch_add(1);
    }
    arv_stream_push_buffer(stream, buffer);
}

// A buffer Aravis has finished with, taken out of its output queue on the stream thread.
void deliver(StreamSink& sink, ArvStream* stream, ArvBuffer* buffer) {
    takeOver(buffer);
    // Aravis counts a frame that found no free buffer once per packet; the numbers count it once.
    // Each frame takes its running number here, so a frame lost on the way is a hole in them.
    if (sink.restartNumbering.exchange(false)) {
        sink.numbering.restart();
    }
    if (arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS) {
        giveBackUnfinished(sink, stream, buffer);
        return;
    }
    const CFrameNumbering::Step step = sink.numbering.take(arv_buffer_get_frame_id(buffer));
    if (step.late) {
        // Its id was counted as skipped when the newer frame came; the measuring side reads an id
        // that goes back as a camera that started again, so a late frame is given back unseen.
        arv_stream_push_buffer(stream, buffer);
        return;
    }
    sink.skipped.fetch_add(step.skipped);
    const uint64_t number = step.number;
    auto channel = sink.channel.lock();
    if (!channel) {
        arv_stream_push_buffer(stream, buffer);
        return;
    }
    const uint64_t limit = sink.frameLimit.load();
    if (limit != 0 && sink.delivered.load() >= limit) {
        arv_stream_push_buffer(stream, buffer);
        return;
    }
    if (sink.queue->push(frameOf(channel, buffer, number))) {
        sink.delivered.fetch_add(1);
    }
}

// Aravis's stream thread: once when it starts, and each time a buffer is done (by then it waits
// in the output queue).
void onStreamEvent(void* data, ArvStreamCallbackType type, ArvBuffer*) {
    auto* sink = static_cast<StreamSink*>(data);
    takeOver(sink);
    if (type == ARV_STREAM_CALLBACK_TYPE_INIT) {
        sink->thread.store(std::this_thread::get_id());
        raiseStreamThreadPriority();
    } else if (type == ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE) {
        if (ArvStream* stream = sink->stream.load()) {
            while (ArvBuffer* buffer = arv_stream_try_pop_buffer(stream)) {
                deliver(*sink, stream, buffer);
            }
        }
    }
    handOver(sink);
}

void dropSink(gpointer data) {
    takeOver(data);
    delete static_cast<StreamSink*>(data);
}

// Reads an integer feature under the link's control lock; false if the device has none.
bool readInteger(CAravisLink& link, const char* name, int64_t& value) {
    std::lock_guard lock(link.controlMutex());
    Backend::FeatureValue read;
    const CallOutcome outcome = readFeature(link.device(), name, read);
    link.record(outcome);
    if (outcome != CallOutcome::Done || !std::holds_alternative<int64_t>(read)) {
        return false;
    }
    value = std::get<int64_t>(read);
    return true;
}

bool runCommand(CAravisLink& link, const char* name) {
    std::lock_guard lock(link.controlMutex());
    const CallOutcome outcome = executeCommand(link.device(), name);
    link.record(outcome);
    return outcome == CallOutcome::Done;
}

std::vector<std::string> chunkNamesOf(CAravisLink& link) {
    std::lock_guard lock(link.controlMutex());
    Backend::FeatureInfo selector;
    std::vector<std::string> names;
    if (describeFeature(link.device(), "ChunkSelector", selector)) {
        for (const auto& entry : selector.entries) {
            names.push_back(entry.symbol);
        }
    }
    return names;
}

// Starts Aravis's stream thread with a sink for the channel; everything the thread reads of
// the channel is set before.
bool openStream(CAravisLink& link, const std::shared_ptr<CStreamChannel>& channel,
                const std::shared_ptr<CFrameQueue>& queue) {
    auto* sink = new StreamSink;
    sink->queue = queue;
    sink->channel = channel;
    handOver(sink);
    {
        std::lock_guard lock(link.controlMutex());
        CGError error;
        channel->stream = TGObjectRef<ArvStream>(
            arv_device_create_stream_full(link.device(), onStreamEvent, sink, dropSink, error.out()));
        link.record(outcomeOf(error.get()));
    }
    // From here the sink is Aravis's to free, with the stream or without it.
    if (!channel->stream) {
        return false;
    }
    channel->sink = sink;
    if (ARV_IS_GV_STREAM(channel->stream.get())) {
        g_object_set(channel->stream.get(), "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED,
                     "socket-buffer-size", kSocketBufferBytes, nullptr);
        setStreamReceiveBuffer(arv_gv_stream_get_port(ARV_GV_STREAM(channel->stream.get())),
                               kSocketBufferBytes);
    }
    sink->stream.store(channel->stream.get());
    return true;
}

} // namespace

CAravisStream::CAravisStream(LinkSource currentLink)
    : currentLink_(std::move(currentLink)), queue_(std::make_shared<CFrameQueue>(false)) {}

CAravisStream::~CAravisStream() {
    queue_->close();
    release();
}

bool CAravisStream::setBufferCount(uint32_t count) {
    std::lock_guard lock(mutex_);
    if (count == 0 || queue_->isOpen()) {
        return false;
    }
    bufferCount_ = count;
    return true;
}

uint32_t CAravisStream::bufferCount() const {
    std::lock_guard lock(mutex_);
    return bufferCount_;
}

std::shared_ptr<CStreamChannel> CAravisStream::channelFor(const std::shared_ptr<CAravisLink>& link) {
    int64_t payload = 0;
    if (!readInteger(*link, "PayloadSize", payload) || payload <= 0) {
        return nullptr;
    }
    if (channel_ && channel_->link == link && channel_->payloadSize == static_cast<uint64_t>(payload) &&
        channel_->bufferCount == bufferCount_) {
        return channel_;
    }
    releaseLocked();
    std::shared_ptr<CStreamChannel> channel(new CStreamChannel, releaseChannel);
    channel->link = link;
    channel->payloadSize = static_cast<uint64_t>(payload);
    channel->bufferCount = bufferCount_;
    int64_t ticks = 0;
    if (readInteger(*link, "GevTimestampTickFrequency", ticks) && ticks > 0) {
        channel->ticksPerSecond = static_cast<uint64_t>(ticks);
    }
    {
        std::lock_guard lock(link->controlMutex());
        channel->chunkParser = TGObjectRef<ArvChunkParser>(arv_device_create_chunk_parser(link->device()));
    }
    channel->chunkNames = chunkNamesOf(*link);
    if (!openStream(*link, channel, queue_)) {
        return nullptr;
    }
    for (uint32_t i = 0; i < bufferCount_; ++i) {
        arv_stream_push_buffer(channel->stream.get(), arv_buffer_new_allocate(channel->payloadSize));
    }
    channel_ = channel;
    return channel;
}

bool CAravisStream::start(uint64_t frameLimit) {
    auto link = currentLink_();
    std::lock_guard lock(mutex_);
    if (!link || link->lost() || queue_->isOpen()) {
        return false;
    }
    auto channel = channelFor(link);
    if (!channel) {
        return false;
    }
    channel->sink->frameLimit.store(frameLimit);
    channel->sink->delivered.store(0);
    channel->sink->restartNumbering.store(true);
    queue_->setCapacity(bufferCount_);
    queue_->open();
    if (!runCommand(*link, "AcquisitionStart")) {
        queue_->close();
        return false;
    }
    return true;
}

bool CAravisStream::stop() {
    std::lock_guard lock(mutex_);
    if (!queue_->isOpen()) {
        return false;
    }
    queue_->close();
    // A lost device is not asked: Aravis would wait seconds for its answer.
    if (channel_ && !channel_->link->lost()) {
        runCommand(*channel_->link, "AcquisitionStop");
    }
    return true;
}

bool CAravisStream::isRunning() const {
    return queue_->isOpen();
}

std::shared_ptr<const CFramePayload> CAravisStream::pop(std::chrono::milliseconds timeout) {
    return queue_->pop(timeout);
}

uint64_t CAravisStream::droppedFrames() const {
    const StreamCounters now = counters();
    return now.incomplete + now.skipped + queue_->counters().dropped;
}

void CAravisStream::abort() {
    queue_->close();
}

void CAravisStream::release() {
    std::lock_guard lock(mutex_);
    releaseLocked();
}

// What one stream has counted so far, added to `total`.
static void addCounters(const CStreamChannel& channel, StreamCounters& total) {
    guint64 completed = 0;
    guint64 failures = 0;
    guint64 underruns = 0;
    arv_stream_get_statistics(channel.stream.get(), &completed, &failures, &underruns);
    total.completed += completed;
    total.incomplete += channel.sink->incomplete.load();
    total.skipped += channel.sink->skipped.load();
}

void CAravisStream::releaseLocked() {
    std::shared_ptr<CStreamChannel> channel;
    channel.swap(channel_);
    if (!channel) {
        return;
    }
    addCounters(*channel, finished_);
}

StreamCounters CAravisStream::counters() const {
    std::lock_guard lock(mutex_);
    StreamCounters total = finished_;
    if (channel_) {
        addCounters(*channel_, total);
    }
    return total;
}

} // namespace Orvia::Aravis::Detail
