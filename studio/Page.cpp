#include "studio/Page.h"

namespace tumblewash::studio {

const PageFile* pageFile(std::string_view name) {
    for (const PageFile& file : pageFiles())
        if (file.name == name) return &file;
    return nullptr;
}

}  // namespace tumblewash::studio
