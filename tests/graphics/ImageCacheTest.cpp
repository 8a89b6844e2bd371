// The image cache itself (white box): client counting, hits, metadata.
#include <gtest/gtest.h>

#include "controls/tamImageCache.h"
#include "tamhost/GraphicsHost.h"

namespace {

struct Client : ImageCacheClient {};

TEST(ImageCacheWhiteBox, CountsClientsAndSharesEntries) {
    ImageCache& cache = ImageCache::instance();
    const int clients = cache.clientCount();
    auto* host = new tamhost::GraphicsHostObject();
    host->baseFolder = std::string(TAM_TEST_DATA_DIR) + "/graphics";
    {
        Client a;
        auto b = std::make_unique<Client>();
        EXPECT_EQ(cache.clientCount(), clients + 2);

        ImageMetadata* metadata = nullptr;
        GmpiDrawing::Bitmap bitmap = cache.GetImage(host, host, "skin.png", &metadata);
        ASSERT_FALSE(bitmap.isNull());
        ASSERT_NE(metadata, nullptr);
        EXPECT_EQ(metadata->type, ImageMetadata::kButton);
        EXPECT_EQ(metadata->frameWidth, 24);
        EXPECT_EQ(metadata->frameHeight, 16);

        ImageMetadata* again = nullptr;
        GmpiDrawing::Bitmap hit = cache.GetImage(host, host, "skin.png", &again);
        EXPECT_EQ(hit.Get(), bitmap.Get());
        EXPECT_EQ(again, metadata);
        EXPECT_EQ(cache.size(), 1u);

        // A bmp without metadata keeps the defaults; a missing image is not cached.
        ImageMetadata* defaults = nullptr;
        EXPECT_FALSE(cache.GetImage(host, host, "skin8.bmp", &defaults).isNull());
        ASSERT_NE(defaults, nullptr);
        EXPECT_EQ(defaults->type, 1);
        ImageMetadata* none = reinterpret_cast<ImageMetadata*>(1);
        EXPECT_TRUE(cache.GetImage(host, host, "absent.png", &none).isNull());
        EXPECT_EQ(none, nullptr);
        EXPECT_TRUE(cache.GetImage(host, nullptr, "skin.png", nullptr).isNull());
        EXPECT_TRUE(cache.GetImage(host, host, "", nullptr).isNull());
        EXPECT_EQ(cache.size(), 2u);

        b.reset();
        EXPECT_EQ(cache.clientCount(), clients + 1);
        EXPECT_EQ(cache.size(), clients == 0 ? 2u : cache.size());
    }
    EXPECT_EQ(cache.clientCount(), clients);
    if (clients == 0) {
        EXPECT_EQ(cache.size(), 0u);
    }
    host->release();
}

}  // namespace
