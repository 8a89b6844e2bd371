// The process-wide store of skin bitmaps: a control drawn a hundred times
// loads its image once per drawing factory. Controls that use it derive from
// ImageCacheClient; when the last client goes the cache empties and every
// bitmap is released.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "controls/tamSkinMetadata.h"
#include "frame/Drawing.h"
#include "frame/mp_sdk_gui2.h"

struct ImageData {
    GmpiDrawing::Factory factory;
    std::string key;  // the image's full path
    GmpiDrawing::Bitmap bitmap;
    std::shared_ptr<ImageMetadata> metadata;
};

class ImageCache {
public:
    static ImageCache& instance();

    // The bitmap of a named skin image and, if metadata is not null, its
    // metadata (defaults where the image has none). A missing image gives
    // an empty bitmap and is not cached.
    GmpiDrawing::Bitmap GetImage(gmpi::IMpUserInterfaceHost2* uiHost, gmpi_gui::IMpGraphicsHost* gfxHost,
                                 const char* name, ImageMetadata** metadata);

    void AddClient() { ++clientCount_; }
    // At 0 clients the cache empties.
    void RemoveClient();

    int clientCount() const { return clientCount_; }
    size_t size() const { return images_.size(); }

private:
    ImageCache() = default;

    std::vector<ImageData> images_;
    int clientCount_ = 0;
};

class ImageCacheClient {
public:
    ImageCacheClient() { ImageCache::instance().AddClient(); }
    virtual ~ImageCacheClient() { ImageCache::instance().RemoveClient(); }
    ImageCacheClient(const ImageCacheClient&) = delete;
    ImageCacheClient& operator=(const ImageCacheClient&) = delete;

    // Through the hosts of the graphic module this client belongs to.
    GmpiDrawing::Bitmap GetImage(const char* name, ImageMetadata** metadata);
};

// Resource lookup through the GUI host: the resource host when it offers
// one, else its file-name resolution and the file system.
namespace tam_resources {
std::string findResource(gmpi::IMpUserInterfaceHost2* uiHost, const std::string& name, const char* resourceClass);
bool readResource(gmpi::IMpUserInterfaceHost2* uiHost, const std::string& fullPath, std::string& contents);
}  // namespace tam_resources
