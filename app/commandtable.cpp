// The commands of the option table: what each is called, takes and says of itself.
#include "app/optiontable.h"

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
     "Joins clips and photos in the order given; a folder stands for what it holds, in the order of its "
     "names, 2 before 10. Effects between two clips overlap the end of one with the start of the "
     "next; "
     "the morph takes half of its frames from each side. Size and rate are the first clip's unless "
     "given, of photos alone 1920x1080 at 30; stills last as long as --still or --hold says. A stretch of a "
     "clip is named by its times, A.mp4#t=5,20, "
     "and "
     "black:2s is black.",
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
     "make a show of photos and clips",
     "Joins the photos and clips of a folder, or those that are given, as join does; every photo stands "
     "whole for "
     "3 s. Everything that join takes can be given.",
     {{"tumblewash slideshow holiday/ -o show.mp4 --music song.mp3", "a folder, with music"},
      {"tumblewash slideshow *.jpg -o show.mp4 --hold 5s --effect shuffle",
       "five seconds each, effects drawn by lot"}}},
    {Command::Out,
     "out",
     "CLIP",
     1,
     1,
     true,
     "let the picture leave at the end of one clip",
     "The effect lies over the last frames of the clip; the length stays. Effects: wash-out, tilt-out, "
     "tumble-out.",
     {{"tumblewash out A.mp4 -o end.mp4 --effect tumble-out --duration 2s",
       "the last two seconds tumble away"}}},
    {Command::In,
     "in",
     "CLIP",
     1,
     1,
     true,
     "let the picture arrive at the start of one clip",
     "The effect lies over the first frames of the clip; the length stays. Effects: wash-in, tilt-in, "
     "tumble-in.",
     {{"tumblewash in A.mp4 -o start.mp4 --effect wash-in --direction up", "the picture washes in"}}},
    {Command::Plan,
     "plan",
     "CLIP [CLIP...] | EDIT",
     1,
     -1,
     false,
     "write down what join would do, or show an edit as a table",
     "With clips, checks them as join would and writes the edit as a document, NAME.edit.json, which can be "
     "read, changed and rendered; without -o it shows the table alone. With one edit, shows its timeline or "
     "writes it again. Documents of other programs are read and written too: OpenTimelineIO (.otio), CMX "
     "3600 "
     "(.edl) and ffmpeg's concat lists (.ffconcat). Nothing is rendered.",
     {{"tumblewash plan A.mp4#t=5,20 B.mp4 -o my.edit.json --effect tilt-away", "write an edit"},
      {"tumblewash plan my.edit.json", "show its timeline"},
      {"tumblewash plan my.edit.json --plot timeline.png", "draw it"},
      {"tumblewash plan my.edit.json -o my.otio", "hand it to an editor"},
      {"tumblewash plan cut.edl --media rushes -o my.edit.json", "take one from an editor"}}},
    {Command::Render,
     "render",
     "EDIT",
     1,
     1,
     true,
     "render an edit",
     "Renders a document that plan wrote, or that you wrote; docs/edit-format.md describes its form. An "
     ".otio, "
     ".edl or .ffconcat of another program is rendered too, and options say what such a document does not: "
     "its dissolves become --effect. An .edit.json says all that itself.",
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
     "put the parts of a plan together",
     "Checks the receipt of every part and copies what they hold into one movie; nothing is encoded again. "
     "The sound is rendered first where no part brought it. The bytes depend on the plan alone; its "
     "fingerprints are told at the end.",
     {{"tumblewash merge show.plan.json parts/ -o show.mp4", "parts that were rendered into parts/"}}},
    {Command::Submit,
     "submit",
     "PLAN",
     1,
     1,
     false,
     "render the parts of a plan side by side, then merge them",
     "Writes scripts into the folder of parts and starts them: side by side on this machine, with GNU "
     "parallel, or as a job array of a Slurm cluster. Parts that are done are not rendered again, so that "
     "the same command goes on after a failure. Without -o the movie is put beside the plan.",
     {{"tumblewash submit show.plan.json --engine local --jobs 4", "four parts at a time on this machine"},
      {"tumblewash submit show.plan.json --engine slurm --dry-run", "see what a cluster would be given"}}},
    {Command::Status,
     "status",
     "PLAN",
     1,
     1,
     false,
     "show which parts of a plan are done",
     "Prints a line for each part: done, running, failed with the reason, or missing.",
     {{"tumblewash status show.plan.json --watch", "until all is done"}}},
    {Command::Batch,
     "batch",
     "LIST",
     1,
     1,
     false,
     "render a list of edits, one a line",
     "Each line is {\"edit\": EDIT, \"output\": FILE}, where EDIT is the name of a document or the document "
     "itself; names count from the list's folder. Prints a report a line as JSON, names what failed at the "
     "end and returns 1 then. Lines that were rendered by an earlier run are not rendered again, unless their "
     "edit has changed since.",
     {{"tumblewash batch tonight.jsonl --engine parallel", "a thousand joins"}}},
    {Command::Frame,
     "frame",
     "A [B]",
     1,
     2,
     true,
     "render one frame of a transition into a picture",
     "Takes pictures or clips; of clips it takes the frames that a join would. With pictures of equal size "
     "the result "
     "holds exactly the bytes that the effect wrote: the colours, or with --alpha all four channels; "
     "transparent pictures move with their alpha then. Effects of one "
     "clip take A when the picture leaves, and B, where given, when it arrives.",
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
     "draw what moves where, as arrows over the picture",
     "Draws the displacement field of a wash or tilt, the corners' paths of a tumble, or the motion that the "
     "morph "
     "found, with a legend in frame pixels.",
     {{"tumblewash field a.png b.png -o field.png --effect wash-away --direction up",
       "the pattern of a wash"},
      {"tumblewash field a.jpg b.jpg -o motion.png --effect morph", "what the morph matched"}}},
    {Command::FfmpegScript,
     "ffmpeg-script",
     "A B",
     2,
     2,
     true,
     "write a seam for ffmpeg's own frei0r filter",
     "Writes the file of timed commands that drives the effect, and prints the ffmpeg line that uses it with "
     "sendcmd, frei0r and overlay. The frei0r plug-ins must be where ffmpeg finds them (docs/hosts.md). "
     "Washes, tilts and tumbles of two clips; the morph needs join.",
     {{"tumblewash ffmpeg-script A.mp4 B.mp4 -o seam.cmd --effect tumble-away",
       "one seam in an ffmpeg of yours"}}},
    {Command::Studio,
     "studio",
     "[EDIT | CLIP... | FOLDER]",
     0,
     -1,
     false,
     "see an edit and change it in the browser, then render it",
     "Serves a page on this machine that shows the clips and every frame of every seam as it will be "
     "rendered, and changes effects, durations and trims. Each change is saved into the document: the EDIT, "
     "or FOLDER/FOLDER.edit.json, or for clips a new movie.edit.json in the working directory. "
     "Clips can be chosen from the document's folder, those of its clips, and --media. The address holds a "
     "secret and is good for this run alone. Ctrl-C ends the studio.",
     {{"tumblewash studio my.edit.json", "open an edit"},
      {"tumblewash studio A.mp4 B.mp4", "begin one with two clips"},
      {"tumblewash studio holiday --no-browser --port 8080", "choose from a folder; for use over ssh -L"}}},
    {Command::List,
     "list",
     "",
     0,
     0,
     false,
     "list the transitions as the plug-in reports them",
     "Lists index, id, name, kind and frame counts of each transition.",
     {{"tumblewash list", "a table"}, {"tumblewash list --json", "for programs"}}},
    {Command::Demo,
     "demo",
     "DIR",
     1,
     1,
     false,
     "render movies and a sheet from pictures that the program draws",
     "Makes two joins with sound and a contact sheet in the folder DIR, from moving pictures of its own.",
     {{"tumblewash demo ./demo", "see it work without any clip at hand"}}},
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
