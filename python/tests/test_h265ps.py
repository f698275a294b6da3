"""The package as a user has it: installed, on the streams of the repository."""
import os
import pathlib

import numpy as np
import pytest

import h265ps

TESTS = pathlib.Path(__file__).resolve().parents[2] / "tests"
CORPUS, CONTAINERS = TESTS / "corpus", TESTS / "containers"


def test_sets_come_in_the_files_order_with_place_and_syntax():
    file = h265ps.open(CORPUS / "profile_main10.hevc")
    assert [s.type for s in file] == ["VPS", "SPS", "PPS"]
    sps = file[1]
    assert (sps.id, sps.layer, sps.offset, sps.place, sps.track, sps.time) == (0, 0, 32, "byte 32", None, None)
    assert sps.syntax["pic_width_in_luma_samples"] == 176
    assert sps.syntax["profile_tier_level"]["general_profile_idc"] == 2
    assert sps.value("profile_tier_level.general_profile_idc") == 2
    assert sps.value("no_such_element") is None
    assert repr(sps) == "<SPS 0, byte 32>"


def test_the_verdict_is_that_of_the_program():
    file = h265ps.open(CORPUS / "profile_main10.hevc")
    assert file.verdict.startswith("not supported: 10-bit samples")
    assert file.exit_code == 1 and not file[1].is_accepted and file[0].is_accepted
    assert file.errors[0].endswith("SPS 0 not supported: 10-bit samples, this decoder takes 8 (only support 8bit depth)")
    assert file.gist["codecs"] == "hvc1.2.4.L60.90"
    assert file.document["parameter_sets"][1]["offset"] == 32


def test_elements_have_their_bits():
    elements = h265ps.open(CORPUS / "profile_main10.hevc")[1].elements
    first = elements[0]
    assert (first.name, first.descriptor, first.value, first.bit, first.nal_bit, first.bits) == (
        "sps_video_parameter_set_id", "u(4)", 0, 0, 16, 4)
    for before, behind in zip(elements, elements[1:]):
        assert behind.bit == before.bit + before.bits


def test_findings_name_element_and_clause():
    findings = [finding for s in h265ps.open(CORPUS / "tool_lossless.hevc") for finding in s.findings]
    assert any(f.severity == "error" and f.element == "general_level_idc" and f.clause for f in findings)
    assert all(f.message for f in findings)


def test_movies_have_tracks_and_repeats():
    file = h265ps.open(CONTAINERS / "hvc1.mp4")
    assert file[0].place == "track 1, hvcC" and file[0].track == 1
    repeats = [s for s in file if s.is_repeat]
    assert repeats and repeats[0].time is not None
    for s in repeats:
        assert not s.first.is_repeat and s.first.type == s.type and s.first.place == "track 1, hvcC"
        assert s.document["syntax"] is None and s.syntax == s.first.syntax and s.record == s.first.record
        assert s.elements == s.first.elements and len(s.elements) > 10 and s.findings == [] and s.id == 0
    assert file[0].first is file[0]


def test_every_sps_has_its_values_wherever_it_stands():
    for path in sorted(CONTAINERS.iterdir()):
        if path.suffix != ".md":
            widths = [
                (s.value("pic_width_in_luma_samples"), s.syntax["pic_width_in_luma_samples"])
                for s in h265ps.open(path)
                if s.type == "SPS"
            ]
            assert widths and all(value and value == coded for value, coded in widths)


def test_a_file_is_read_in_a_with_statement():
    with h265ps.open(CORPUS / "hm_ldb.hevc") as file:
        assert [s.type for s in file] == ["VPS", "SPS", "PPS"]
    assert file[0].type == "VPS"


def test_a_name_with_a_null_byte_is_no_other_file():
    with pytest.raises(ValueError):
        h265ps.open(str(CORPUS / "hm_ldb.hevc") + "\0.mp4")
    sps = h265ps.open(CORPUS / "hm_ldb.hevc")[1]
    assert sps.value("chroma_format_idc") == 1
    assert sps.value("chroma_format_idc\0") is None and sps.value("\udcff") is None


def test_tiles_are_arrays_that_agree_with_each_other():
    pps = [s for s in h265ps.open(CORPUS / "hm_tiles_explicit_4x3.hevc") if s.type == "PPS"][0]
    tiles = pps.tiles
    assert tiles.column_widths.tolist() == [4, 9, 5, 12] and tiles.row_heights.tolist() == [2, 7, 8]
    assert tiles.tile_ids.shape == (17, 30) and tiles.tile_ids.max() == 11
    assert tiles.ts_to_rs[:9].tolist() == [0, 1, 2, 3, 30, 31, 32, 33, 4]
    assert (tiles.rs_to_ts[tiles.ts_to_rs] == np.arange(510)).all()


def test_scaling_matrices_are_squares():
    sets = h265ps.open(CORPUS / "hm_slist_pps.hevc")
    pps = [s for s in sets if s.type == "PPS" and s.record["pps_scaling_list_data_present_flag"]][0]
    matrix = pps.scaling_matrix(3, 0)
    assert matrix.shape == (32, 32) and matrix.dtype == np.uint8
    assert pps.scaling_matrix(0, 3).ravel()[:4].tolist() == [20, 24, 26, 27]
    assert sets[0].scaling_matrix(0, 0) is None


def test_bytes_are_read_like_files():
    data = (CORPUS / "profile_main10.hevc").read_bytes()
    assert h265ps.parse(data)[1].syntax == h265ps.open(CORPUS / "profile_main10.hevc")[1].syntax


@pytest.mark.parametrize("name, reason", [("missing.hevc", "no such file"), ("", "is a directory")])
def test_what_cannot_be_read_says_why(name, reason):
    with pytest.raises(h265ps.UnreadableError, match=reason) as raised:
        h265ps.open(CORPUS / name)
    assert len(raised.value.file) == 0
    assert isinstance(raised.value, OSError)


def test_a_name_can_have_any_bytes(tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff.hevc"
    with open(path, "wb") as out:
        out.write((CORPUS / "profile_main10.hevc").read_bytes())
    assert len(h265ps.open(path)) == 3


def test_sets_outlive_the_variable_of_their_file():
    sps = h265ps.open(CORPUS / "profile_main10.hevc")[1]
    assert sps.syntax["pic_width_in_luma_samples"] == 176
