// The gallery's own files (tools/preview/), which the build puts into the program.

#ifndef TOOLS_HOTSPOT_PREVIEW_ASSETS_H_
#define TOOLS_HOTSPOT_PREVIEW_ASSETS_H_

#include <string_view>

namespace preview {

extern const std::string_view kGalleryHtml;
extern const std::string_view kGalleryCss;
extern const std::string_view kGalleryScript;
extern const std::string_view kPartsScript;
extern const std::string_view kStateScript;

}  // namespace preview

#endif  // TOOLS_HOTSPOT_PREVIEW_ASSETS_H_
