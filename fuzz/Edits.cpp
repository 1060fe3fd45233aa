// Documents of edits and media fragments: any bytes are read or refused in one line; what is read is written
// as a document that reads again as the same edit, and as the same bytes.
#include <string>

#include "edit/Document.h"
#include "edit/Errors.h"
#include "edit/Fragment.h"
#include "fuzz/Target.h"

namespace {

using tumblewash::fuzz::demand;

void demandOneLine(const tumblewash::edit::Refusal& refusal) {
    const std::string line = refusal.what();
    demand(refusal.problem() == tumblewash::edit::Problem::BadRequest, "a text refused as something else");
    demand(!line.empty() && line.find('\n') == std::string::npos, "a refusal is not one line: " + line);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const tumblewash::edit::Edit edit = tumblewash::edit::readEdit(text, "x.edit.json");
        const std::string written = tumblewash::edit::editJson(edit);
        const tumblewash::edit::Edit again = tumblewash::edit::readEdit(written, "x.edit.json");
        demand(tumblewash::edit::editJson(again) == written, "a document changed when it was written again");
    } catch (const tumblewash::edit::Refusal& refusal) {
        demandOneLine(refusal);
    }
    try {
        const std::string name = "no such clip#" + text.substr(0, text.find('\0'));
        const tumblewash::edit::Fragment fragment = tumblewash::edit::splitFragment(name);
        demand(name.rfind(fragment.file, 0) == 0, "a fragment made another name");
    } catch (const tumblewash::edit::Refusal& refusal) {
        demand(refusal.problem() == tumblewash::edit::Problem::BadRequest,
               "a fragment refused as something else");
    }
    return 0;
}
