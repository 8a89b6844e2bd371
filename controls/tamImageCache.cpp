// Image cache and resource lookup for skinned controls.
#include "controls/tamImageCache.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iterator>

namespace {

constexpr int kResolveBufferLength = 260;

gmpi::IMpResourceHost* resourceHost(gmpi::IMpUserInterfaceHost2* uiHost) {
    if (uiHost == nullptr) return nullptr;
    void* object = nullptr;
    if (uiHost->queryInterface(TAM_IID_RESOURCE_HOST, &object) != MP_OK) return nullptr;
    return static_cast<gmpi::IMpResourceHost*>(object);
}

std::string extensionLower(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
    std::string extension = path.substr(dot + 1);
    for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

std::string replaceExtension(const std::string& path, const std::string& newEnding) {
    const size_t slash = path.find_last_of('/');
    const size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return path + newEnding;
    return path.substr(0, dot) + newEnding;
}

}  // namespace

namespace tam_resources {

std::string findResource(gmpi::IMpUserInterfaceHost2* uiHost, const std::string& name, const char* resourceClass) {
    if (uiHost == nullptr || name.empty()) return name;
    if (gmpi::IMpResourceHost* resources = resourceHost(uiHost)) {
        gmpi_sdk::MpString path;
        const int32_t result = resources->FindResourceU(name.c_str(), resourceClass, &path);
        resources->release();
        return result == MP_OK ? path.cppString : std::string();
    }
    wchar_t buffer[kResolveBufferLength] = {};
    const std::wstring wideName = Utf8ToWString(name);
    if (uiHost->resolveFileName(wideName.c_str(), kResolveBufferLength, buffer) != MP_OK) return name;
    buffer[kResolveBufferLength - 1] = L'\0';
    return WStringToUtf8(buffer);
}

bool readResource(gmpi::IMpUserInterfaceHost2* uiHost, const std::string& fullPath, std::string& contents) {
    contents.clear();
    if (fullPath.empty()) return false;
    if (gmpi::IMpResourceHost* resources = resourceHost(uiHost)) {
        gmpi_sdk::MpString bytes;
        const int32_t result = resources->ReadResourceU(fullPath.c_str(), &bytes);
        resources->release();
        if (result != MP_OK) return false;
        contents = std::move(bytes.cppString);
        return true;
    }
    std::ifstream file(fullPath, std::ios::binary);
    if (!file) return false;
    contents.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return !file.bad();
}

}  // namespace tam_resources

ImageCache& ImageCache::instance() {
    static ImageCache cache;
    return cache;
}

void ImageCache::RemoveClient() {
    if (clientCount_ > 0) --clientCount_;
    if (clientCount_ == 0) images_.clear();
}

GmpiDrawing::Bitmap ImageCache::GetImage(gmpi::IMpUserInterfaceHost2* uiHost, gmpi_gui::IMpGraphicsHost* gfxHost,
                                         const char* name, ImageMetadata** metadata) {
    if (metadata != nullptr) *metadata = nullptr;
    if (name == nullptr || *name == '\0' || gfxHost == nullptr) return {};

    GmpiDrawing::Factory factory = GmpiGui::GraphicsHost(gfxHost).GetDrawingFactory();
    if (factory.isNull()) return {};

    const std::string path = tam_resources::findResource(uiHost, name, "Image");
    for (const ImageData& entry : images_) {
        if (entry.key == path && entry.factory.Get() == factory.Get()) {
            if (metadata != nullptr) *metadata = entry.metadata.get();
            return entry.bitmap;
        }
    }

    if (extensionLower(path) == "bmp") {
        // A bitmap may come with a mask beside it; look it up so its path is known.
        tam_resources::findResource(uiHost, replaceExtension(path, "_mask.bmp"), "Image");
    }

    std::string bytes;
    if (!tam_resources::readResource(uiHost, path, bytes) || bytes.empty()) return {};
    GmpiDrawing::Bitmap bitmap = factory.CreateBitmapFromMemory(reinterpret_cast<const uint8_t*>(bytes.data()),
                                                                static_cast<int32_t>(bytes.size()));
    if (bitmap.isNull()) return {};

    auto imageMetadata = std::make_shared<ImageMetadata>();
    const std::string metadataPath = tam_resources::findResource(uiHost, replaceExtension(path, ".txt"), "ImageMeta");
    std::string text;
    if (tam_resources::readResource(uiHost, metadataPath, text)) imageMetadata->Serialise(text);

    images_.push_back(ImageData{factory, path, bitmap, imageMetadata});
    if (metadata != nullptr) *metadata = imageMetadata.get();
    return bitmap;
}

GmpiDrawing::Bitmap ImageCacheClient::GetImage(const char* name, ImageMetadata** metadata) {
    auto* module = dynamic_cast<gmpi_gui::MpGuiGfxBase*>(this);
    if (module == nullptr) return {};
    return ImageCache::instance().GetImage(module->getHost(), module->graphicsHost, name, metadata);
}
