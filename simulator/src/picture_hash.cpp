#include "picture_hash.h"

#include <Magick++.h>
#include <magick/MagickCore.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <memory>
#include <numeric>
#include <string>

#include "quor_simulator/simulator.h"
#include "sync.h"

namespace quor_simulator {
namespace {

struct Format {
    const char* name; /* as the image library calls it */
    std::string_view begin;
};

constexpr Format kFormats[] = {{"PNG", "\x89PNG\r\n\x1a\n"},
                               {"JPEG", "\xff\xd8\xff"},
                               {"PNM", "P1"},
                               {"PNM", "P2"},
                               {"PNM", "P3"},
                               {"PNM", "P4"},
                               {"PNM", "P5"},
                               {"PNM", "P6"}};

/* What a camera's picture of a face may need. A pixel takes eight bytes while it is decoded. */
constexpr std::size_t kMaxSide = 8192;
constexpr std::size_t kMaxPixels = 16U << 20;
constexpr std::size_t kMaxMemoryBytes = 256U << 20;

/* The hash is taken of a picture of this many pixels on each side, whatever its size and proportions were. */
constexpr std::size_t kSide = 128;
/* Distances of the hash become scores by a bell curve of this width: 75 is a distance of 24. A picture in
 * another size and compression and a little brighter is less than 8 away, another face at least 35. */
constexpr double kWidth = 45;

bool PrepareLibrary() {
    Magick::InitializeMagick(nullptr);
    using Limits = Magick::ResourceLimits;
    Limits::width(kMaxSide);
    Limits::height(kMaxSide);
    Limits::area(kMaxPixels);
    Limits::memory(kMaxMemoryBytes);
    Limits::map(0); /* what memory does not hold is refused instead of put on the disk */
    Limits::disk(0);
    Limits::thread(1);
    return true;
}

[[noreturn]] void Refuse() {
    throw Error("is damaged or too large"); /* the library does not tell the one from the other */
}

std::size_t BigEndian(std::string_view bytes) {
    return std::accumulate(bytes.begin(), bytes.end(), std::size_t{0}, [](std::size_t value, char byte) {
        return value << 8U | static_cast<unsigned char>(byte);
    });
}

/* The chunks that hold the pixels. Texts and profiles may unpack to hundreds of megabytes, and nobody looks
 * at them. */
std::string WithoutExtras(std::string_view png) {
    constexpr std::string_view kKept[] = {"IHDR", "PLTE", "tRNS", "IDAT", "IEND"};
    constexpr std::size_t kBegin = 8;  /* the file's signature */
    constexpr std::size_t kFrame = 12; /* length, type and checksum of a chunk */
    std::string out(png.substr(0, kBegin));
    png.remove_prefix(kBegin);
    while (png.size() >= kFrame) {
        const std::size_t length = BigEndian(png.substr(0, 4));
        const std::string_view type = png.substr(4, 4);
        if (length > png.size() - kFrame) {
            break;
        }
        if (std::find(std::begin(kKept), std::end(kKept), type) != std::end(kKept)) {
            out.append(png.substr(0, length + kFrame));
        }
        if (type == "IEND") {
            return out;
        }
        png.remove_prefix(length + kFrame);
    }
    Refuse();
}

/* Throws for what is damaged or too large, also Magick::Exception. */
Magick::Image Read(std::string_view file, const Format& format) {
    const std::string png = std::string_view(format.name) == "PNG" ? WithoutExtras(file) : std::string();
    const std::string_view bytes = png.empty() ? file : png;
    Magick::Image image;
    image.magick(format.name);
    image.subRange(1);                            /* a PNM may hold several pictures */
    image.defineValue("jpeg", "size", "512x512"); /* larger ones are decoded at a fraction of their size */
    image.read(Magick::Blob(bytes.data(), bytes.size()));
    if (!image.isValid()) {
        Refuse();
    }
    return image;
}

struct HashDeleter {
    void operator()(MagickCore::ChannelPerceptualHash* hash) const {
        MagickCore::RelinquishMagickMemory(hash);
    }
};

struct ExceptionDeleter {
    void operator()(MagickCore::ExceptionInfo* exception) const {
        MagickCore::DestroyExceptionInfo(exception);
    }
};

/* Seven moments of each of three channels, in two colour spaces. */
PictureHash Moments(const Magick::Image& image) {
    const std::unique_ptr<MagickCore::ExceptionInfo, ExceptionDeleter> exception(
        MagickCore::AcquireExceptionInfo());
    const std::unique_ptr<MagickCore::ChannelPerceptualHash, HashDeleter> hash(
        MagickCore::GetImageChannelPerceptualHash(image.constImage(), exception.get()));
    if (hash == nullptr) {
        Refuse();
    }
    PictureHash numbers;
    for (const int channel : {MagickCore::RedChannel, MagickCore::GreenChannel, MagickCore::BlueChannel}) {
        const MagickCore::ChannelPerceptualHash& moments = hash.get()[channel];
        numbers.insert(numbers.end(), moments.P, moments.P + MaximumNumberOfPerceptualHashes);
        numbers.insert(numbers.end(), moments.Q, moments.Q + MaximumNumberOfPerceptualHashes);
    }
    return numbers;
}

}  // namespace

PictureHash HashPicture(std::string_view file) {
    const auto* format = std::find_if(std::begin(kFormats), std::end(kFormats), [&](const Format& known) {
        return file.substr(0, known.begin.size()) == known.begin;
    });
    if (format == std::end(kFormats)) {
        throw Error("is no PNG, JPEG or PNM");
    }
    /* One picture at a time: the limits are those of the process. */
    static Mutex mutex;
    MutexLock lock(mutex);
    [[maybe_unused]] static const bool prepared = PrepareLibrary();
    try {
        Magick::Image image = Read(file, *format);
        image.colorSpace(Magick::sRGBColorspace);
        Magick::Geometry size(kSide, kSide);
        size.aspect(true); /* its proportions are of no interest */
        image.resize(size);
        return Moments(image);
    } catch (const Magick::Exception&) {
        Refuse();
    }
}

double Score(const PictureHash& a, const PictureHash& b) {
    const double distance =
        std::inner_product(a.begin(), a.end(), b.begin(), 0.0, std::plus<>(),
                           [](double one, double other) { return (one - other) * (one - other); });
    const double likeness = std::exp(-distance * distance / (kWidth * kWidth));
    return std::isfinite(likeness) ? std::round(1000.0 * likeness) / 10.0 : 0;
}

}  // namespace quor_simulator
