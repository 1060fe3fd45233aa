"""melt with the frei0r files of this build: what it lists, what it renders, in which order."""
import os
import re
import xml.etree.ElementTree as xml

import hosts
from hosts import FILTERS, MIXERS, alphas, colours, on_black, read_png, service, worst

N = 16  # positions are sixteenths, which no rounding touches
SHOWN = (2, 4, 8, 13)
RUN, BACKWARDS = "0=0;-1=1", "0=1;-1=0"  # over the whole length, whatever it is


def lists_everything(bench):
    transitions = hosts.run("melt", "-query", "transitions", env=bench.env)
    filters = hosts.run("melt", "-query", "filters", env=bench.env)
    assert sorted(re.findall(r"frei0r\.tumblewash_\w+", transitions)) == sorted(map(service, MIXERS)), transitions
    assert sorted(re.findall(r"frei0r\.tumblewash_\w+", filters)) == sorted(map(service, FILTERS)), filters
    for kind, effects in (("transition", MIXERS), ("filter", FILTERS)):
        for effect in effects:
            text = hosts.run("melt", "-query", f"{kind}={service(effect)}", env=bench.env)
            wanted = ["position", "direction", "seed"] if effect.startswith("wash") else ["position"]
            assert re.findall(r"title: (\w+)$", text.split("parameters:")[1], re.M) == wanted, text
            assert "default: 0" in text and "creator: the tumblewash developers" in text, text


def descriptions_name_what_melt_lists(bench):
    for kind, effects, root in (("transition", MIXERS, "transitions"), ("filter", FILTERS, "effects")):
        folder = os.path.join(bench.build, "kdenlive", root)
        stems = sorted("tumblewash_" + effect.replace("-", "_") + ".xml" for effect in effects)
        assert sorted(os.listdir(folder)) == stems, os.listdir(folder)
        for effect in effects:
            tree = xml.parse(os.path.join(folder, f"tumblewash_{effect.replace('-', '_')}.xml")).getroot()
            assert tree.tag == ("effect" if kind == "filter" else "transition"), tree.tag
            assert tree.get("tag") == tree.get("id") == service(effect), tree.attrib
            assert tree.get("type") == ("video" if kind == "filter" else "short"), tree.attrib
            text = hosts.run("melt", "-query", f"{kind}={service(effect)}", env=bench.env)
            listed = re.findall(r"title: (\w+)$", text.split("parameters:")[1], re.M)
            parameters = tree.findall("parameter")
            assert [p.get("name") for p in parameters] == listed, effect
            if kind == "transition":
                # A composition runs by itself, a switch turns it round.
                assert parameters[0].get("type") == "switch", effect
                assert parameters[0].get("default") == parameters[0].get("min") == RUN, effect
                assert parameters[0].get("max") == BACKWARDS, effect
            else:
                # Kdenlive reads one number as an animated default: the picture stands whole.
                assert parameters[0].get("type") == "animated", effect
                assert float(parameters[0].get("default")) == (1 if effect.endswith("-in") else 0), effect
            assert f"description: {tree.find('description').text}" in text, text


def icons_are_small_pictures(bench):
    folder = os.path.join(bench.build, "icons")
    seen = set()
    for effect in MIXERS + FILTERS:
        width, height, rgba = read_png(os.path.join(folder, effect + ".png"))
        assert (width, height) == (64, 64), effect
        assert rgba not in seen and len(set(rgba)) > 50, f"{effect}: not a picture of its own"
        seen.add(rgba)


def pictures_of(bench, effect, *knobs, real_time=0, name="out", position=RUN):
    """Frames 0 to N of the effect in melt, position 0 to 1 in steps of 1/N."""
    knobs = (f"position={position}",) + knobs
    a, b = bench.path("a.png"), bench.path("b.png")
    if effect in MIXERS:
        words = (a, f"out={N}", b, f"out={N}", "-mix", N + 1, "-mixer", service(effect), *knobs)
    else:
        words = (a, f"out={N}", "-attach", service(effect), *knobs)
    files = bench.melt(name, *words, real_time=real_time)
    assert len(files) == N + 1, files
    return [read_png(file) for file in files]


def mixers_equal_the_program(bench):
    for effect in MIXERS:
        got = pictures_of(bench, effect)
        assert got[0][2] == bench.a[2] and got[N][2] == bench.b[2], f"{effect}: the ends are not the clips"
        for k in SHOWN:
            # The morph counts from one: its frame k shows (k + 1) / n.
            wanted = bench.frame(effect, k - 1 if effect == "morph" else k, N)
            assert worst(got[k], wanted) == 0, f"{effect} at {k}/{N}: {worst(got[k], wanted)}"
            assert set(alphas(got[k])) == {255}, f"{effect} at {k}/{N} is not opaque"


def reversed_mixers_show_the_same_pictures_backwards(bench):
    for effect in MIXERS:
        forwards = [p[2] for p in pictures_of(bench, effect)]
        backwards = [p[2] for p in pictures_of(bench, effect, position=BACKWARDS, name="back")]
        assert backwards == forwards[::-1], effect


def filters_equal_the_program(bench):
    for effect in FILTERS:
        arrives = effect.endswith("-in")
        got = pictures_of(bench, effect)
        nothing = bytes(len(bench.a[2]))
        assert got[0][2] == (nothing if arrives else bench.a[2]), effect
        assert got[N][2] == (bench.a[2] if arrives else nothing), effect
        for k in SHOWN:
            wanted = bench.frame(effect, k, N, *(["--direction", "right"] if effect.startswith("wash") else []))
            if arrives:
                # The program shows its second input arriving; the filter has one.
                hosts.write_png(bench.path("b.png"), bench.a)
                wanted = bench.frame(effect, k, N)
                hosts.write_png(bench.path("b.png"), bench.b)
            covered = alphas(got[k])
            assert 0 in covered, f"{effect} at {k}/{N} uncovers nothing"
            mine, theirs = colours(got[k]), colours(wanted)
            for i, alpha in enumerate(covered):
                if alpha == 255:
                    assert mine[3 * i:3 * i + 3] == theirs[3 * i:3 * i + 3], f"{effect} at {k}/{N}, pixel {i}"
            # Softened edges pass through straight alpha and back: one step of rounding each way.
            assert worst(on_black(got[k]), wanted) <= 1, f"{effect} at {k}/{N}: {worst(on_black(got[k]), wanted)}"


def knobs_reach_the_effect(bench):
    plain = pictures_of(bench, "wash-away")
    for way in ("up", "down", "left"):
        got = pictures_of(bench, "wash-away", f"direction={way}")
        assert worst(got[4], bench.frame("wash-away", 4, N, "--direction", way)) == 0, way
        assert got[4][2] != plain[4][2], way
    # The knob counts in thousandths from the program's seed 1.
    got = pictures_of(bench, "wash-away", "seed=0.041")
    assert worst(got[4], bench.frame("wash-away", 4, N, "--seed", 42)) == 0
    assert got[4][2] != plain[4][2]


def threads_out_of_order_change_nothing(bench):
    for effect in MIXERS + FILTERS:
        one = pictures_of(bench, effect)
        two = pictures_of(bench, effect, real_time=-2, name="threads")
        assert [p[2] for p in one] == [p[2] for p in two], effect


def project_has_the_joins_length(bench):
    a, b = bench.path("a.y4m"), bench.path("b.y4m")
    for path, which in ((a, 0), (b, 1)):
        grey = bytes(40 + 90 * which for _ in range(bench.width * bench.height))
        chroma = bytes([128]) * (bench.width * bench.height // 4)
        with open(path, "wb") as file:
            file.write(f"YUV4MPEG2 W{bench.width} H{bench.height} F25:1 Ip A1:1 C420mpeg2\n".encode())
            for _ in range(30):
                file.write(b"FRAME\n" + grey + chroma * 2)
    for effects, clips in (("tumble-away", (a, b)), ("wash-away,tilt-reveal", (a, b, a)), ("morph", (a, b))):
        mlt, movie = bench.path("join.mlt"), bench.path("join%04d.png")
        hosts.run(bench.program, "join", *clips, "-o", movie, "-f", "-q", "--mlt", mlt, "--effect", effects,
                  "--duration", "10f")
        joined = [f for f in os.listdir(bench.folder) if re.fullmatch(r"join\d+\.png", f)]
        length = len(joined)
        for file in joined:
            os.remove(bench.path(file))
        assert length >= 50, length
        files = bench.melt("project", mlt)
        assert len(files) == length, f"{effects}: melt renders {len(files)} frames, the join has {length}"
        first, last = read_png(files[0]), read_png(files[-1])
        assert worst(first, last) > 50 or len(clips) == 3, "the project does not reach its second clip"
        for file in files:
            os.remove(file)


def properties(element):
    return {p.get("name"): p.text for p in element.findall("property")}


def laid_out(playlist):
    """The stretches on a track: (first frame of the result, producer, first and last frame of the clip, entry)."""
    at = 0
    for child in playlist:
        if child.tag == "blank":
            at += int(child.get("length"))
        elif child.tag == "entry":
            first, last = int(child.get("in")), int(child.get("out"))
            yield at, child.get("producer"), first, last, child
            at += last - first + 1


def sounding_clips(bench, seconds, *names):
    """Clips with a picture and a tone, told apart by their scenes."""
    files = []
    for name in names:
        files.append(bench.path(name + ".mkv"))
        drawn = f"pattern:{name}?size={bench.width}x{bench.height}&fps=25&seconds={seconds}"
        hosts.run(bench.program, "join", drawn, drawn, "-o", files[-1], "-q", "--effect", "none")
    return files


def project_is_a_kdenlive_document(bench):
    a, b = sounding_clips(bench, 1, "harbour", "city")
    mlt = bench.path("join.mlt")
    for effects, clips, seams in (
            ("tumble-away", (a, b), [(40, 49)]), ("wash-away,tilt-reveal", (a, b, a), [(40, 49), (80, 89)]),
            ("wash-away,morph,none", (a, b, a, b), [(40, 49), (85, 94)]), ("none", (a, b), [])):
        hosts.run(bench.program, "join", *clips, "-q", "-f", "--mlt", mlt, "--effect", effects, "--duration", "10f",
                  "--direction", "up", "--seed", "7")
        root = xml.parse(mlt).getroot()
        named = {element.get("id"): element for element in root if element.get("id")}
        main = named["main_bin"]
        document = properties(main)
        assert root.get("producer") == "main_bin" and document["xml_retain"] == "1", effects
        assert document["kdenlive:docproperties.version"] == "1.04", document
        assert document["kdenlive:docproperties.profile"] == root.find("profile").get("description"), document
        # The clips in the bin, each with a number of its own; what lies on a track carries its clip's number.
        in_bin = [properties(named[e.get("producer")]) for e in main.findall("entry")]
        assert [c["resource"] for c in in_bin] == list(clips), in_bin
        numbers = [int(c["kdenlive:id"]) for c in in_bin]
        assert len(set(numbers)) == len(clips) and min(numbers) > 1, numbers
        numbered = {c["kdenlive:id"]: c["resource"] for c in in_bin}

        whole = root.findall("tractor")[-1]
        tracks = [track.get("producer") for track in whole.findall("track")]
        assert len(tracks) == 5 and tracks[0] == "black_track", tracks
        length = int(whole.get("out")) + 1
        assert length == 50 * len(clips) - sum(10 for e in effects.split(",") if e not in ("none", "morph"))
        pictured, heard, fades = [0] * length, [0] * length, []
        for track in tracks[1:]:
            lists = named[track].findall("track")
            sound = "kdenlive:audio_track" in properties(named[track])
            assert len(lists) == 2 and {t.get("hide") for t in lists} == {"video" if sound else "audio"}, track
            assert int(named[track].get("out")) + 1 == length, track
            for at, producer, first, last, entry in laid_out(named[lists[0].get("producer")]):
                source = properties(named[producer])
                assert properties(entry)["kdenlive:id"] == source["kdenlive:id"], producer
                assert numbered[source["kdenlive:id"]] == source["resource"], producer
                assert 0 <= first <= last < 50, (first, last)
                for k in range(at, at + last - first + 1):
                    (heard if sound else pictured)[k] += 1
                for laid in entry.findall("filter"):
                    knobs, start, end = properties(laid), int(laid.get("in")), int(laid.get("out"))
                    kind, spans = knobs["kdenlive_id"], (knobs.get("gain"), knobs.get("end"), start, end)
                    if kind == "fadein":
                        assert sound and spans == ("0", "1", first, first + 9), knobs
                        fades.append((at, kind))
                    elif kind == "fadeout":
                        assert sound and spans == ("1", "0", last - 9, last), knobs
                        fades.append((at + last - first - 9, kind))
                    else:
                        assert kind == "freeze" and not sound and (start, end) == (first, last), knobs
        seam_frames = {k for first, last in seams for k in range(first, last + 1)}
        assert pictured == [2 if k in seam_frames else 1 for k in range(length)], effects
        mixed = [seam for seam, effect in zip(seams, effects.split(",")) if effect != "morph"]
        both = {k for first, last in mixed for k in range(first, last + 1)}
        assert heard == [2 if k in both else 1 for k in range(length)], effects
        assert sorted(fades) == [(first, way) for first, _ in mixed for way in ("fadein", "fadeout")], fades

        moves = [t for t in whole.findall("transition") if "internal_added" not in properties(t)]
        assert [(int(t.get("in")), int(t.get("out"))) for t in moves] == seams, effects
        for transition, effect in zip(moves, effects.split(",")):
            knobs = properties(transition)
            assert knobs["mlt_service"] == knobs["kdenlive_id"] == service(effect), knobs
            assert (knobs["a_track"], knobs["b_track"]) == ("3", "4"), knobs
            assert knobs["position"].startswith("0=") and ";-1=" in knobs["position"], knobs
            wanted = ("up", "0.006") if effect == "wash-away" else (None, None)
            assert (knobs.get("direction"), knobs.get("seed")) == wanted, knobs
        sums = [properties(t) for t in whole.findall("transition") if "internal_added" in properties(t)]
        assert [(t["mlt_service"], t["sum"], t["b_track"]) for t in sums] == [("mix", "1", "1"), ("mix", "1", "2")]


def project_shows_the_programs_pictures(bench):
    mlt, a, b = bench.path("join.mlt"), bench.path("a.png"), bench.path("b.png")
    for effect in ("tumble-away", "wash-reveal", "morph"):
        hosts.run(bench.program, "join", a, b, a, "-q", "-f", "--mlt", mlt, "--effect", effect, "--duration", f"{N}f",
                  "--still", "2s", "--size", f"{bench.width}x{bench.height}", "--fps", "25")
        shown = [read_png(file) for file in bench.melt("project", mlt)]
        # A seam that overlaps takes its frames from both clips of 50, the morph half from each.
        seam = 50 - (N // 2 if effect == "morph" else N)
        second = seam + (50 if effect == "morph" else 50 - N)
        assert len(shown) == second + 50 + (N // 2 if effect == "morph" else 0), len(shown)
        for k in (0, seam - 1, second + N, len(shown) - 1):
            assert worst(shown[k], bench.a) == 0, f"{effect}: frame {k} is not the first clip"
        for k in (seam + N, second - 1):
            assert worst(shown[k], bench.b) == 0, f"{effect}: frame {k} is not the second clip"
        for k in SHOWN:
            difference = worst(shown[seam + k], bench.frame(effect, k, N))
            assert difference == 0, f"{effect} at {k}/{N}: {difference}"


def equal_in_the_project(bench, *words):
    """Joins and renders the project of the same join: every picture equal and opaque."""
    mlt = bench.path("join.mlt")
    size = f"{bench.width}x{bench.height}"
    # Eighths, which no rounding touches.
    hosts.run(bench.program, "join", *words, "-q", "-f", "--mlt", mlt, "-o", bench.path("joined%04d.png"), "--size", size,
              "--fps", "25", "--duration", "8f", "--still", "1s", "--fit", "contain")
    joined = bench.pictures("joined")
    shown = bench.melt("project", mlt)
    assert len(shown) == len(joined), f"{words}: melt renders {len(shown)} frames, the join has {len(joined)}"
    for k, (file, wanted) in enumerate(zip(shown, joined)):
        picture = read_png(file)
        assert worst(picture, read_png(wanted)) == 0, f"{words}: frame {k}: {worst(picture, read_png(wanted))}"
        assert set(alphas(picture)) == {255}, f"{words}: frame {k} has holes"
    for file in joined:
        os.remove(file)


def barred_pictures(bench):
    tall, wide = bench.path("tall.png"), bench.path("wide.png")
    hosts.write_png(tall, hosts.scene(0, bench.width // 2, bench.height))
    hosts.write_png(wide, hosts.scene(1, bench.width, bench.height * 5 // 8))
    return tall, wide


def project_shows_barred_stills_as_the_join_does(bench):
    tall, wide = barred_pictures(bench)
    for effect in MIXERS:
        equal_in_the_project(bench, bench.path("a.png"), tall, wide, "--effect", effect)


def project_opens_and_closes_from_black(bench):
    tall, wide = barred_pictures(bench)
    a = bench.path("a.png")
    for opening, closing, words in (("wash-in", "tumble-out", (a, tall, "--effect", "morph")),
                                    ("tilt-in", "wash-out", (tall, "black:1s", a)),
                                    ("tumble-in", "tilt-out", ("black:1s", wide, "--effect", "none"))):
        equal_in_the_project(bench, *words, "--opening", opening, "--closing", closing)


if __name__ == "__main__":
    hosts.main({test.__name__: test for test in (
        lists_everything, descriptions_name_what_melt_lists, icons_are_small_pictures, mixers_equal_the_program,
        reversed_mixers_show_the_same_pictures_backwards, filters_equal_the_program, knobs_reach_the_effect,
        threads_out_of_order_change_nothing, project_has_the_joins_length, project_is_a_kdenlive_document,
        project_shows_the_programs_pictures, project_shows_barred_stills_as_the_join_does,
        project_opens_and_closes_from_black)})
