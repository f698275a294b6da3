#!/usr/bin/env python3
"""Validates the JSON that h265ps writes against its schema, and that the schema refuses what is wrong.

usage: validate_json.py PROGRAM SCHEMA CORPUS EACH

Of the corpus, each EACHth stream.
"""

import copy
import json
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

START_CODE = b"\x00\x00\x00\x01"

# Of the first: in elements, structures, layers and contents.
DIFFERENT_FROM_FIRST = ("hm_ldb", "hm_vui_everything", "joined_cif_then_qcif", "mv_2view", "malformed_vui_cut")


def run(program, *arguments, verb="show"):
    """The documents that the program writes for the files."""
    done = subprocess.run([program, verb, "--json", *arguments], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return [json.loads(line) for line in done.stdout.splitlines()]


def made_streams(corpus):
    """Streams for what no stream of the corpus shows, by name."""
    stream = (corpus / "size_64x64_ctu16.hevc").read_bytes()
    sets = json.loads((corpus / "size_64x64_ctu16.json").read_text())["sets"][:3]
    vps, sps, pps = (stream[s["offset"] : s["offset"] + s["size"]] for s in sets)
    other_layer = sps[:1] + b"\x09" + sps[2:]
    forbidden = b"\xc2" + sps[1:]
    return {
        "of another layer": [vps, sps, pps, other_layer],
        "forbidden bit": [vps, forbidden],
        "cut short": [vps, sps[: len(sps) // 2]],
        "header alone": [vps, sps[:1]],
        "without its SPS": [vps, pps],
        "repeated": [vps, sps, pps, vps, sps, pps],
    }


def broken_documents(good):
    """Copies of a good document, each with one thing wrong, by what that is."""

    def broken(change):
        document = copy.deepcopy(good)
        change(document, {s["type"]: s for s in document["parameter_sets"]})
        return document

    return {
        "no bytes": broken(lambda d, s: d.pop("bytes")),
        "no verdict": broken(lambda d, s: d.pop("verdict")),
        "an exit code of 3": broken(lambda d, s: d.update(exit_code=3)),
        "a warning of another kind": broken(lambda d, s: d["warnings"].append({"type": "more"})),
        "a warning without PPSs": broken(
            lambda d, s: d["warnings"].append({"type": "stale_pps", "sps": 0, "sps_offset": 4, "pps": []})
        ),
        "a record beside the place of the same": broken(lambda d, s: s["SPS"].update(same_as=4)),
        "a place of text": broken(lambda d, s: s["PPS"].update(read_at="4")),
        "a key too many": broken(lambda d, s: d.update(more=1)),
        "no gist": broken(lambda d, s: d.pop("gist")),
        "another codec string": broken(lambda d, s: d["gist"].update(codecs="avc1.640028")),
        "no syntax key": broken(lambda d, s: s["SPS"].pop("syntax")),
        "an element of text": broken(lambda d, s: s["SPS"]["syntax"].update(chroma_format_idc="4:2:0")),
        "a finding without a message": broken(lambda d, s: s["SPS"]["findings"].append({"severity": "error"})),
        "an unknown type": broken(lambda d, s: s["VPS"].update(type="SEI")),
        "no track key": broken(lambda d, s: s["VPS"].pop("track")),
        "no place": broken(lambda d, s: s["VPS"].update(place="")),
        "a time of text": broken(lambda d, s: s["VPS"].update(time="0")),
        "no tracks": broken(lambda d, s: d.pop("tracks")),
        "a track of another kind": broken(
            lambda d, s: d["tracks"].append(
                {"track": 1, "kind": "smell", "codec": "hvc1", "verdict": "x", "exit_code": 0}
            )
        ),
        "a record beside the place of the same set": broken(lambda d, s: s["SPS"].update(same_as_place="byte 4")),
        "a negative offset": broken(lambda d, s: s["VPS"].update(offset=-1)),
        "a size of text": broken(lambda d, s: s["VPS"].update(size="25")),
        "a record of another type": broken(lambda d, s: s["VPS"].update(record=s["PPS"]["record"])),
        "a record of a failed reading": broken(lambda d, s: s["SPS"].update(read=-2147483647, verify=None)),
        "no record of a good reading": broken(lambda d, s: s["SPS"].update(record=None)),
        "a field missing": broken(lambda d, s: s["SPS"]["record"].pop("amp_enabled_flag")),
        "bookkeeping": broken(lambda d, s: s["SPS"]["record"].update(refCount=0)),
        "a flag as a number": broken(lambda d, s: s["SPS"]["record"].update(amp_enabled_flag=1)),
        "31 compatibility flags": broken(
            lambda d, s: s["SPS"]["record"]["ptl"]["general_profile_compatibility_flag"].pop()
        ),
        "a value over 8 bits": broken(lambda d, s: s["SPS"]["record"].update(BitDepthY=256)),
        "a matrix too short": broken(lambda d, s: s["SPS"]["record"]["pScalingList"][0][0]["coef"].pop()),
        "five matrices": broken(lambda d, s: s["SPS"]["record"]["pScalingList"][3].pop()),
        "tile sizes without tiles": broken(lambda d, s: s["PPS"]["record"].update(colWidth=[1])),
    }


def errors_of(schema, verb, documents):
    """What the schema of the verb, and the schema as a whole, have against its documents."""
    of_verb = jsonschema.Draft202012Validator({"$ref": f"#/$defs/{verb}Document", "$defs": schema["$defs"]})
    whole = jsonschema.Draft202012Validator(schema)
    for number, document in enumerate(documents):
        name = document.get("file", document.get("a"))
        for error in of_verb.iter_errors(document):
            place = "/".join(str(p) for p in error.absolute_path)
            yield f"{verb} {name}: {place}: {error.message[:200]}"
        if number < 30 and not whole.is_valid(document):  # of more it takes long
            yield f"{verb} {name}: the schema as a whole refuses it"


def main(program, schema_file, corpus_directory, each):
    corpus = pathlib.Path(corpus_directory)
    schema = json.loads(pathlib.Path(schema_file).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    failures = []

    streams = sorted(str(f) for f in corpus.glob("*.hevc"))
    files = streams[:: int(each)]
    containers = [f for f in (corpus.parent / "containers").iterdir() if f.suffix != ".md"]
    files += sorted(str(f) for f in containers)
    with tempfile.TemporaryDirectory() as directory:
        for name, units in made_streams(corpus).items():
            made = pathlib.Path(directory) / name
            made.write_bytes(b"".join(START_CODE + unit for unit in units))
            files.append(str(made))
        documents = run(program, *files)
        nothing = run(program, "--hex", "")
        whole = run(program, "--tables", "--all", *files)
        others = {verb: run(program, *files, verb=verb) for verb in ("trace", "check")}
        sides = streams[:1] + [f for f in streams if pathlib.Path(f).stem in DIFFERENT_FROM_FIRST]
        others["diff"] = [document for side in sides for document in run(program, streams[0], side, verb="diff")]
        others["scan"] = run(program, *files, verb="scan")
    if [d["file"] for d in documents] != files:
        failures.append("not one document for each file, in their order")
    if [d["file"] for d in whole] != files:
        failures.append("not one document for each file with --tables --all")
    failures += errors_of(schema, "show", nothing + documents + whole)
    for verb, verb_documents in others.items():
        failures += errors_of(schema, verb, verb_documents)
        if verb in ("trace", "check") and [d["file"] for d in verb_documents] != files:
            failures.append(f"not one document for each file with {verb}")
    if len(others["diff"]) != len(DIFFERENT_FROM_FIRST) + 1 or len(others["scan"]) != len(files):
        failures.append("not one document for each comparison, and for each stream")

    good = run(program, str(corpus / "slist_explicit.hevc"))[0]
    for what, document in broken_documents(good).items():
        if validator.is_valid(document):
            failures.append(f"the schema accepts a document with {what}")

    print("\n".join(failures) or f"{len(documents)} documents are valid")
    return 1 if failures or not documents else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
