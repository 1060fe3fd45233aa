/* Renders an edit document and shows how far it is:  render_edit EDIT.edit.json OUT.mp4 [PICTURES]
 * With a number of pictures it cancels itself there, to show how. */
#include <stdio.h>
#include <stdlib.h>
#include <tumblewash.h>

static int progress(void* user, int64_t done, int64_t total) {
    const long* most = user;
    fprintf(stderr, "\r%ld of %ld", (long)done, (long)total);
    return *most > 0 && done >= *most;
}

int main(int argc, char** argv) {
    long most = 0;
    tw_status status;
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: render_edit EDIT.edit.json OUT.mp4 [PICTURES]\n");
        return 2;
    }
    if (argc == 4) most = atol(argv[3]);
    if (tw_version() < TW_VERSION) {
        fprintf(stderr, "render_edit: needs version %d.%d of the library, not %s\n", TW_VERSION_MAJOR, TW_VERSION_MINOR,
                tw_version_string());
        return 1;
    }
    status = tw_render_edit_file(argv[1], argv[2], TW_REPLACE, progress, &most);
    fprintf(stderr, "\n");
    if (status == TW_OK) return 0;
    fprintf(stderr, "render_edit: %s\n", tw_last_error());
    return status == TW_CANCELLED ? 130 : 1;
}
