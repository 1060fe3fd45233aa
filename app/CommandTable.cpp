// The commands of the option table: what each is called, takes and says of itself.
#include "app/OptionTable.h"

namespace tumblewash::app {
namespace {

const std::vector<CommandRow> kCommands = {
    {Command::Join,
     "join",
     "CLIP CLIP [CLIP...]",
     1,
     -1,
     true,
     "join clips with a transition at every seam",
     "Joins clips and photos in the order given; a folder stands for the clips and photos in it, sorted by "
     "name with 2 before 10. Between two clips, an effect overlaps the end of the first with the start of "
     "the second; the morph takes half of its frames from each. Size and rate are those of the first clip "
     "unless given, and 1920x1080 at 30 for photos alone; --still or --hold sets how long stills last. "
     "A.mp4#t=5,20 is a clip from 5 s to 20 s, and black:2s is two seconds of black.",
     {{"tumblewash join A.mp4 B.mp4 -o out.mp4", "wash A away over B"},
      {"tumblewash join A.mp4 B.mp4 C.mov -o out.mp4 --effect tilt-away,tumble-reveal --duration 45f",
       "two seams, two effects"},
      {"tumblewash join cat.png dog.jpg -o morph.webm --effect morph --still 3s",
       "morph one photo into another"},
      {"tumblewash join A.mp4 B.mp4 -o frames/%05d.png --size 1280x720", "a picture sequence"}}},
    {Command::Slideshow,
     "slideshow",
     "FOLDER | PHOTO [PHOTO...]",
     1,
     -1,
     true,
     "make a slideshow of photos and clips",
     "Joins the photos and clips of a folder, or those given, as join does; each photo is shown for 3 s "
     "between its transitions. All options of join can be used.",
     {{"tumblewash slideshow holiday/ -o show.mp4 --music song.mp3", "a folder, with music"},
      {"tumblewash slideshow *.jpg -o show.mp4 --hold 5s --effect shuffle",
       "five seconds each, random effects"}}},
    {Command::Out,
     "out",
     "CLIP",
     1,
     1,
     true,
     "make the picture leave at the end of a clip",
     "The effect covers the last frames of the clip, whose length stays. Effects: wash-out, tilt-out, "
     "tumble-out.",
     {{"tumblewash out A.mp4 -o end.mp4 --effect tumble-out --duration 2s",
       "the last two seconds tumble away"}}},
    {Command::In,
     "in",
     "CLIP",
     1,
     1,
     true,
     "make the picture arrive at the start of a clip",
     "The effect covers the first frames of the clip, whose length stays. Effects: wash-in, tilt-in, "
     "tumble-in.",
     {{"tumblewash in A.mp4 -o start.mp4 --effect wash-in --direction up", "the picture washes in"}}},
    {Command::Plan,
     "plan",
     "CLIP [CLIP...] | EDIT",
     1,
     -1,
     false,
     "write an edit without rendering it, or show one as a table",
     "Given clips, checks them as join would and writes the edit as a document, NAME.edit.json, which can be "
     "read, changed and rendered; without -o, only prints its table. Given an edit, prints its timeline, or "
     "writes it in another format. The formats of other programs are OpenTimelineIO (.otio), CMX 3600 (.edl) "
     "and ffmpeg's concat lists (.ffconcat). Nothing is rendered.",
     {{"tumblewash plan A.mp4#t=5,20 B.mp4 -o my.edit.json --effect tilt-away", "write an edit"},
      {"tumblewash plan my.edit.json", "show its timeline"},
      {"tumblewash plan my.edit.json --plot timeline.png", "draw it"},
      {"tumblewash plan my.edit.json -o my.otio", "export it for an editor"},
      {"tumblewash plan cut.edl --media rushes -o my.edit.json", "import one from an editor"}}},
    {Command::Render,
     "render",
     "EDIT",
     1,
     1,
     true,
     "render an edit",
     "Renders a document written by plan or by hand (docs/edit-format.md). An .otio, .edl or .ffconcat of "
     "another program is rendered too; options then set what it does not say, and its dissolves become "
     "--effect. An .edit.json sets all this itself.",
     {{"tumblewash render my.edit.json -o out.mp4", "the whole edit"},
      {"tumblewash render my.edit.json -o part.mp4 --only 00:10..00:14", "four seconds of it"},
      {"tumblewash render cut.edl -o out.mp4 --media rushes --effect tilt-away",
       "an edit list whose dissolves become tilts"}}},
    {Command::Merge,
     "merge",
     "PLAN [FOLDER]",
     1,
     2,
     true,
     "join the rendered parts of a plan into one movie",
     "Checks the receipt of every part and copies the parts into one movie without encoding again. The sound "
     "is rendered first unless it is among the parts. The bytes depend on the plan alone; their fingerprints "
     "are printed at the end.",
     {{"tumblewash merge show.plan.json parts/ -o show.mp4", "parts that were rendered into parts/"}}},
    {Command::Submit,
     "submit",
     "PLAN",
     1,
     1,
     false,
     "render the parts of a plan in parallel, then merge them",
     "Writes scripts into the folder of parts and starts them: on this machine, with GNU parallel, or as a "
     "job array of a Slurm cluster. Parts that are done are not rendered again, so the same command "
     "continues after a failure. Without -o, the movie is written beside the plan.",
     {{"tumblewash submit show.plan.json --engine local --jobs 4", "four parts at a time on this machine"},
      {"tumblewash submit show.plan.json --engine slurm --dry-run", "print the scripts for a cluster"}}},
    {Command::Status,
     "status",
     "PLAN",
     1,
     1,
     false,
     "show which parts of a plan are done",
     "Prints one line per part: done, running, failed (with the reason) or missing.",
     {{"tumblewash status show.plan.json --watch", "keep watching until all is done"}}},
    {Command::Batch,
     "batch",
     "LIST",
     1,
     1,
     false,
     "render a list of edits, one per line",
     "Each line is {\"edit\": EDIT, \"output\": FILE}, where EDIT is the name of a document or the document "
     "itself; names are relative to the list's folder. Prints a JSON report for each line, names those that "
     "failed at the end, and then returns 1. Lines rendered by an earlier run are skipped unless their edit "
     "has changed.",
     {{"tumblewash batch tonight.jsonl --engine parallel", "a thousand joins"}}},
    {Command::Frame,
     "frame",
     "A [B]",
     1,
     2,
     true,
     "render one frame of a transition as a picture",
     "Takes pictures or clips; of clips it uses the frames that join would use. With pictures of equal size, "
     "the result holds exactly the bytes that the effect wrote: the colours, or with --alpha all four "
     "channels, so that transparent pictures move with their alpha. Single-clip effects use A when the "
     "picture leaves, and B, if given, when it arrives.",
     {{"tumblewash frame a.png b.png -o mid.png --effect tumble-away --frame 15 --of 30",
       "the middle of a tumble"}}},
    {Command::Sheet,
     "sheet",
     "A B",
     2,
     2,
     true,
     "draw a labelled contact sheet, one row per effect",
     "Draws each effect at even steps of its length, with its id and name beside it.",
     {{"tumblewash sheet a.png b.png -o sheet.png", "all transitions on one page"},
      {"tumblewash sheet A.mp4 B.mp4 -o wash.png --effect wash-away,wash-reveal --columns 8 --theme light",
       "two of them, finer steps"}}},
    {Command::Field,
     "field",
     "A B",
     1,
     2,
     true,
     "draw the motion of an effect as arrows over the picture",
     "Draws the displacement field of a wash or tilt, the paths of a tumble's corners, or the motion that "
     "the morph found, with a legend in frame pixels.",
     {{"tumblewash field a.png b.png -o field.png --effect wash-away --direction up",
       "the pattern of a wash"},
      {"tumblewash field a.jpg b.jpg -o motion.png --effect morph", "what the morph matched"}}},
    {Command::FfmpegScript,
     "ffmpeg-script",
     "A B",
     2,
     2,
     true,
     "write a transition for ffmpeg's frei0r filter",
     "Writes a file of timed commands that drive the effect, and prints the ffmpeg command that uses it with "
     "sendcmd, frei0r and overlay. The frei0r plug-ins must be where ffmpeg finds them (docs/hosts.md). "
     "Works with the washes, tilts and tumbles of two clips; for the morph, use join.",
     {{"tumblewash ffmpeg-script A.mp4 B.mp4 -o seam.cmd --effect tumble-away",
       "one transition, rendered by ffmpeg"}}},
    {Command::Studio,
     "studio",
     "[EDIT | CLIP... | FOLDER]",
     0,
     -1,
     false,
     "view, change and render an edit in the browser",
     "Serves a page on this machine that shows the clips and every frame of every seam as it will be "
     "rendered, and changes effects, durations and trims. Each change is saved to the document: the EDIT, "
     "FOLDER/FOLDER.edit.json, or, for clips, a new movie.edit.json in the working directory. Clips can be "
     "chosen from the document's folder, those of its clips, and --media. The address contains a secret and "
     "is valid for this run only. Ctrl-C ends the studio.",
     {{"tumblewash studio my.edit.json", "open an edit"},
      {"tumblewash studio A.mp4 B.mp4", "start one with two clips"},
      {"tumblewash studio holiday --no-browser --port 8080", "choose from a folder, over ssh -L"}}},
    {Command::List,
     "list",
     "",
     0,
     0,
     false,
     "list the transitions as the plug-in reports them",
     "Lists index, id, name, kind and frame counts of each transition.",
     {{"tumblewash list", "a table"}, {"tumblewash list --json", "the same as JSON"}}},
    {Command::Demo,
     "demo",
     "DIR",
     1,
     1,
     false,
     "render movies and a sheet from pictures that the program draws",
     "Writes two joins with sound and a contact sheet to the folder DIR, made from scenes it draws itself.",
     {{"tumblewash demo ./demo", "try it without any clips"}}},
};

}  // namespace

const std::vector<CommandRow>& commandTable() {
    return kCommands;
}

const CommandRow& commandRow(Command id) {
    for (const CommandRow& row : kCommands)
        if (row.id == id) return row;
    return kCommands.front();
}

}  // namespace tumblewash::app
