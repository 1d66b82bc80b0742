/* gallery_test.cpp - telling pictures apart, reading a gallery's folder, and pictures that mean harm. */
#include "gallery.h"

#include <sys/resource.h>

#include "face_fixture.h"

namespace quor_test {
namespace {

using quor_simulator::Error;
using quor_simulator::FaceIndex;
using quor_simulator::Gallery;
using quor_simulator::HashPicture;
using quor_simulator::ReadGallery;
using quor_simulator::Score;

const FaceIndex& Shipped() {
    static const FaceIndex index(ReadGallery(kGalleryFolder));
    return index;
}

TEST(ShippedGallery, HasEightPeopleWithAProbeEach) {
    const Gallery gallery = ReadGallery(kGalleryFolder);
    EXPECT_EQ(gallery.size(), 8U);
    for (const auto& person : gallery) {
        SCOPED_TRACE(person.userId);
        const auto ranking = Shipped().Rank(HashPicture(Probe(person.userId)));
        EXPECT_EQ(ranking[0].userId, person.userId);
        EXPECT_EQ(ranking[0].name, person.name);
        EXPECT_EQ(ranking[0].photoId, person.photos[0].id);
        EXPECT_GT(ranking[0].score, 95);
        EXPECT_LT(ranking[1].score, 60);
        for (const auto& photo : person.photos) {
            EXPECT_NE(photo.data, Probe(person.userId)) << "a probe is another file than the photo";
            EXPECT_EQ(Shipped().Rank(HashPicture(photo.data))[0].photoId, photo.id);
            EXPECT_LT(photo.data.size(), 20000U);
        }
    }
}

TEST(ShippedGallery, KnowsNoStranger) {
    EXPECT_LT(Shipped().Rank(HashPicture(Probe("stranger")))[0].score, 60);
}

TEST(FaceIndex, RanksByTheBestPhotoAndThenByTheGallery) {
    const std::string ana = Probe("ana.torres");
    const std::string ben = Probe("ben.okafor");
    const FaceIndex index({{"u1", "1", {{"p1", ben, ""}, {"p2", ana, ""}}},
                           {"u2", "2", {{"p3", ana, ""}}},
                           {"u3", "3", {{"p4", ben, ""}, {"p5", ben, ""}}}});
    const auto ranking = index.Rank(HashPicture(ana));
    ASSERT_EQ(ranking.size(), 3U);
    EXPECT_EQ(ranking[0].userId, "u1");
    EXPECT_EQ(ranking[0].photoId, "p2");
    EXPECT_EQ(ranking[0].score, 100);
    EXPECT_EQ(ranking[1].userId, "u2");
    EXPECT_EQ(ranking[2].photoId, "p4");
    EXPECT_EQ(index.PhotoOfUser("u1")->id, "p1");
    EXPECT_EQ(index.Photo("p5")->data, ben);
    EXPECT_EQ(index.PhotoOfUser("p1"), nullptr);
}

TEST(Pictures, OfOneColourAreNobody) {
    for (const char* colour : {"P5 1 1 255\n\x01", "P5 1 1 255\n\x80", "P5 1 1 255\n\xff", "P4 1 1\n\x80"}) {
        const auto plain = HashPicture(colour);
        EXPECT_EQ(Score(plain, plain), 100);
        for (const char* person : {"lin.wei", "ben.okafor", "stranger"}) {
            EXPECT_LT(Score(plain, HashPicture(Probe(person))), 75) << person;
        }
    }
}

TEST(Pictures, MayBeEveryKindOfPnm) {
    const char* gradients[] = {"P5 2 1 255\n\xff\x01", "P6 2 1 255\n\xff\xff\xff\x01\x01\x01",
                               "P4 2 1\n\x40",         "P1 2 1\n0 1\n",
                               "P2 2 1 255\n255 1\n",  "P3 2 1 255\n255 255 255 1 1 1\n"};
    const auto first = HashPicture(gradients[0]);
    for (const char* gradient : gradients) {
        EXPECT_EQ(Score(first, HashPicture(gradient)), 100) << gradient;
    }
}

std::string ReasonAgainst(const std::string& file) {
    try {
        HashPicture(file);
        return "accepted";
    } catch (const Error& error) {
        return error.what();
    }
}

TEST(BadPictures, OtherFormatsAreNotLookedAt) {
    for (const char* file :
         {"", "\x89PNG", "\xff\xd8", "GIF89a...", "BM......", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>",
          "%!PS-Adobe-3.0", "push graphic-context\nimage over 0,0 0,0 'https://x/'", "RIFF....WEBPVP8 ",
          "P7 1 1", "II*\0", "msl:/tmp/x", "@/etc/passwd"}) {
        EXPECT_EQ(ReasonAgainst(file), "is no PNG, JPEG or PNM") << file;
    }
}

TEST(BadPictures, DamagedOnesAreRefused) {
    const std::string reason = "is damaged or too large";
    for (const std::string& good :
         {ReadBytes(kGalleryFolder + "/tom.keller-1.png"), Probe("tom.keller"), GreyPicture(100, 100)}) {
        ASSERT_EQ(ReasonAgainst(good), "accepted");
        for (const std::size_t length :
             {std::size_t{8}, std::size_t{20}, good.size() / 10, good.size() / 2, good.size() - 20}) {
            EXPECT_EQ(ReasonAgainst(good.substr(0, length)), reason) << good.substr(0, 4) << length;
        }
    }
    for (const char* file : {"P5", "P5 ", "P6 0 0 255\n", "P6 -1 5 255\n", "P6 99999999999999999999 5 255\n",
                             "P3 10 10 255 1 2 3", "P6 10 10 0\n"}) {
        EXPECT_EQ(ReasonAgainst(file), reason) << file;
    }
}

TEST(BadPictures, EveryByteMayBeWrong) {
    const std::string png = ReadBytes(kGalleryFolder + "/tom.keller-1.png");
    const std::string jpeg = Probe("tom.keller");
    for (const std::string& good : {png, jpeg}) {
        for (std::size_t i = 0; i < good.size(); i += 1 + i / 8) {
            for (const char wrong : {'\0', '\x7f', '\xff'}) {
                std::string bad = good;
                bad[i] = wrong;
                ReasonAgainst(bad); /* a reason or a hash, and no harm */
            }
        }
    }
}

/* ---- files that are small and whose pictures are not ---- */

long PeakKilobytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

std::string BigEndian(std::uint32_t number) {
    return {static_cast<char>(number >> 24U), static_cast<char>(number >> 16U),
            static_cast<char>(number >> 8U), static_cast<char>(number)};
}

std::string Chunk(const std::string& typeAndData) {
    std::uint32_t crc = 0xffffffffU;
    for (const char byte : typeAndData) {
        crc ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? crc >> 1U ^ 0xedb88320U : crc >> 1U;
        }
    }
    return BigEndian(static_cast<std::uint32_t>(typeAndData.size() - 4)) + typeAndData + BigEndian(~crc);
}

/* zlib's form of so many equal bytes: a thirteenth of a bit for each. */
std::string Deflated(std::size_t bytes, char byte) {
    std::string out = "\x78\x9c";
    std::uint32_t bits = 0;
    unsigned int count = 0;
    const auto put = [&](std::uint32_t value, unsigned int width) {
        bits |= value << count;
        for (count += width; count >= 8; count -= 8) {
            out += static_cast<char>(bits);
            bits >>= 8U;
        }
    };
    const auto putCode = [&](std::uint32_t code, unsigned int width) { /* most significant bit first */
                                                                       for (unsigned int i = width;
                                                                            i-- > 0;) {
                                                                           put(code >> i & 1U, 1);
                                                                       }
    };
    put(1, 1); /* the last block */
    put(1, 2); /* fixed codes */
    const std::size_t runs = (bytes - 1) / 258;
    const std::size_t literals = bytes - runs * 258;
    const auto literal = static_cast<unsigned char>(byte);
    for (std::size_t i = 0; i < literals; ++i) {
        literal < 144 ? putCode(0x30U + literal, 8) : putCode(0x190U + literal - 144, 9);
    }
    for (std::size_t i = 0; i < runs; ++i) {
        putCode(0xc5, 8); /* 258 bytes */
        putCode(0, 5);    /* from one byte before */
    }
    putCode(0, 7);
    put(0, 7); /* to the end of the byte */
    std::uint32_t a = 1;
    std::uint32_t b = 0;
    for (std::size_t i = 0; i < bytes; ++i) {
        a = (a + literal) % 65521;
        b = (b + a) % 65521;
    }
    return out + BigEndian(b << 16U | a);
}

std::string Png(std::uint32_t width, std::uint32_t height, const std::string& pixels,
                const std::string& extra = "") {
    return "\x89PNG\r\n\x1a\n" +
           Chunk("IHDR" + BigEndian(width) + BigEndian(height) + std::string("\x08\0\0\0\0", 5)) + extra +
           Chunk("IDAT" + pixels) + Chunk("IEND");
}

/* Of 300 by 200, with the filter's byte before each row. */
constexpr std::size_t kSmallPixels = std::size_t{301} * 200;

TEST(BadPictures, BombsTakeNoMemory) {
    ASSERT_EQ(ReasonAgainst(Png(300, 200, Deflated(kSmallPixels, '\0'))), "accepted");
    std::string wide = Probe("tom.keller"); /* with another size in its frame header */
    const std::size_t frame = wide.find("\xff\xc0");
    ASSERT_NE(frame, std::string::npos);
    wide.replace(frame + 5, 4, "\xff\xdc\xff\xdc");
    const std::string pixels = Deflated(std::size_t{8001} * 8000, '\0');
    const std::string bombs[] = {
        Png(8000, 8000, pixels), Png(30000, 30000, pixels), Png(0x7fffffff, 0x7fffffff, pixels),
        Png(0, 0, pixels),       Png(16000000, 1, pixels),  wide,
        "P6 8192 8192 255\n123", "P4 65536 65536\n123",     "P5 2147483647 2147483647 65535\n123"};
    const long before = PeakKilobytes();
    for (const std::string& bomb : bombs) {
        EXPECT_EQ(ReasonAgainst(bomb), "is damaged or too large") << bomb.size();
    }
    EXPECT_LT(PeakKilobytes() - before, 64L << 10);
}

TEST(BadPictures, NobodyUnpacksWhatIsNotThePicture) {
    const std::string pixels = Deflated(kSmallPixels, '\0');
    const std::string plain = Png(300, 200, pixels);
    const std::string text = Deflated(100U << 20, 'A');
    const std::string bomb =
        Png(300, 200, pixels,
            Chunk(std::string("zTXtk\0\0", 7) + text) + Chunk(std::string("iCCPk\0\0", 7) + text));
    ASSERT_EQ(ReasonAgainst(plain), "accepted");
    const long before = PeakKilobytes();
    EXPECT_EQ(ReasonAgainst(bomb), "accepted");
    EXPECT_LT(PeakKilobytes() - before, 64L << 10);
}

TEST(BadPictures, OfSeveralInOneFileTheFirstCounts) {
    std::string many;
    for (int i = 0; i < 100; ++i) {
        many += "P4 1024 1024\n" + std::string(std::size_t{128} * 1024, i == 0 ? '\x55' : '\0');
    }
    const long before = PeakKilobytes();
    EXPECT_EQ(ReasonAgainst(many), "accepted");
    EXPECT_LT(PeakKilobytes() - before, 320L << 10) << "all of them would take 800 megabytes";
}

/* ---- the folder ---- */

class GalleryFolder : public ::testing::Test {
protected:
    void SetUp() override { Write("a.jpg", Probe("ana.torres")); }
    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(m_directory.path() + "/" + name, std::ios::binary) << text;
    }
    /* Without the folder's path. */
    std::string ErrorOf(const std::string& json) const {
        Write("gallery.json", json);
        try {
            const FaceIndex index(ReadGallery(m_directory.path()));
            return "accepted";
        } catch (const Error& error) {
            std::string text = error.what();
            const std::size_t at = text.find(m_directory.path() + "/");
            return at == std::string::npos ? text : text.erase(at, m_directory.path().size() + 1);
        }
    }
    static std::string Person(const std::string& photos) {
        return R"({"people":[{"userid":"u","name":"n","photos":[)" + photos + "]}]}";
    }
    const TemporaryDirectory m_directory;
};

TEST_F(GalleryFolder, IsReadAsItStands) {
    Write("gallery.json", R"({"about":"x","people":[{"userid":"u","name":"n","photos":[)"
                          R"({"photoid":"p","file":"a.jpg"},{"photoid":"q","file":"./a.jpg"}]}]})");
    const Gallery gallery = ReadGallery(m_directory.path());
    ASSERT_EQ(gallery.size(), 1U);
    EXPECT_EQ(gallery[0].userId, "u");
    EXPECT_EQ(gallery[0].name, "n");
    ASSERT_EQ(gallery[0].photos.size(), 2U);
    EXPECT_EQ(gallery[0].photos[1].id, "q");
    EXPECT_EQ(gallery[0].photos[1].data, Probe("ana.torres"));
    EXPECT_EQ(gallery[0].photos[0].file, m_directory.path() + "/a.jpg");
    EXPECT_EQ(ErrorOf(R"({"people":[]})"), "accepted");
}

TEST_F(GalleryFolder, ErrorsNameTheFileAndTheReason) {
    Write("text.png", "just a text");
    Write("empty.png", "");
    const std::string a = R"({"photoid":"p","file":"a.jpg"})";
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p","file":"none.png"})")), "none.png: cannot be read");
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p","file":"."})")), ".: cannot be read");
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p","file":"text.png"})")), "text.png: is no PNG, JPEG or PNM");
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p","file":"empty.png"})")), "empty.png: is no PNG, JPEG or PNM");
    EXPECT_EQ(ErrorOf(Person(a + "," + a)), "a.jpg: its id \"p\" is empty or occurs twice");
    EXPECT_EQ(ErrorOf(Person("")), "person \"u\": needs a user id and a photo");
    EXPECT_EQ(ErrorOf(R"({"people":[{"userid":"u","name":"n"}]})"),
              "gallery.json: $.people[0]: member \"photos\" is missing");
    EXPECT_EQ(ErrorOf(R"({"people":[{"userid":"","name":"n","photos":[]}]})"),
              "gallery.json: $.people[0].userid: must be a text that is not empty");
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p"})")),
              "gallery.json: $.people[0].photos[0]: member \"file\" is missing");
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p","file":"a.jpg","size":1})")),
              "gallery.json: $.people[0].photos[0].size: unknown member (known here: photoid, file)");
    EXPECT_EQ(ErrorOf("{}"), "gallery.json: $: member \"people\" is missing");
    EXPECT_EQ(ErrorOf("{\n  nonsense").substr(0, 68),
              "gallery.json: [json.exception.parse_error.101] parse error at line 2");
    EXPECT_THROW(ReadGallery(m_directory.path() + "/none"), Error);
}

TEST_F(GalleryFolder, PicturesHaveALimit) {
    Write("long.jpg", std::string((16U << 20) + 1, 'x'));
    EXPECT_EQ(ErrorOf(Person(R"({"photoid":"p","file":"long.jpg"})")),
              "long.jpg: is longer than 16777216 bytes");
}

TEST(FillerPhotos, AreTheSameForTheSamePlace) {
    EXPECT_EQ(quor_simulator::FillerPhoto(1000, 3), quor_simulator::FillerPhoto(1000, 3));
    EXPECT_NE(quor_simulator::FillerPhoto(1000, 3), quor_simulator::FillerPhoto(1000, 4));
    EXPECT_EQ(quor_simulator::FillerPhoto(0, 1), "");
    EXPECT_EQ(quor_simulator::FillerPhoto(4194000, 1).size(), 4194000U);
}

}  // namespace
}  // namespace quor_test
