#!/usr/bin/env python3
"""Builds wrong variants of the library and shows that the suite catches each one.

A fault is a line of the sources, exchanged in a copy; only the object that it lives in is compiled again, with the
build's own commands, and linked with the other objects of the level. A function that several objects have is the one of the
first that is linked: a fault in operations.h that no loop has inlined is compiled into SCAN. The same route without an exchange has to pass.

usage: run.py --source DIR --build DIR --level LEVEL [--compiler PATH] [--only NAME | --sample]
"""
import argparse
import concurrent.futures
import datetime
import json
import os
import pathlib
import random
import re
import shlex
import shutil
import subprocess
import sys
from dataclasses import dataclass

SCAN, BITVEC, ITERATORS = "scan/dict_byte_aligned.cpp", "bitvec/algebra.cpp", "bitvec/iterators.cpp"
FRAME, PACKED = "scan/predicate.cpp", "scan/dict_packed.cpp"
FIXED, TRAILING_ZERO, DYNAMIC_PACKED = "scan/fixed.cpp", "scan/trailing_zero.cpp", "scan/dynamic_packed.cpp"
BURST, SET, MINMAX = "scan/burst_rle.cpp", "scan/set.cpp", "decode/minmax.cpp"
ARITHMETIC, SWEEPS, CONVERT = "arith/column_arithmetic.cpp", "arith/integer_sweeps.cpp", "move/convert.cpp"
UNPACK = "decode/decode_unpack.cpp"
PREFIX, COMPARISON, COPY = "decode/prefix_stream.cpp", "decode/stream_comparison.cpp", "decode/selective_copy.cpp"
GROUP_KEY, GROUP_SUM = "groupby/group_key.cpp", "groupby/group_sum.cpp"
LAYOUT = "kv/layout.cpp"
XLATE, BLOOM, HASH = "xlate/translate.cpp", "hash/bloom.cpp", "hash/column_hash.cpp"


@dataclass
class Fault:
    name: str
    file: str
    right: str
    wrong: str
    compiled: str
    test: str


FAULTS = [
    Fault("a comparison off by one", "scan/operations.h", "(high - high_open)", "(high)", SCAN,
          "predicate_test"),
    Fault("an end of a range taken in", "scan/operations.h", "(low + low_open)", "(low)", SCAN,
          "predicate_test"),
    Fault("an inverted range not empty", "scan/predicate.h", "} else if (low > high) {", "} else if (false) {", SCAN, "predicate_test"),
    Fault("the last row skipped", "scan/predicate.h", "row < rows; ++row", "row + 1 < rows; ++row", SCAN,
          "predicate_test"),
    Fault("a count not updated", "scan/predicate.h", "count += block_bits.count();", "", SCAN, "predicate_test"),
    Fault("bits set above the last row", "scan/predicate.h", "first / 8, 0, (rows + 63)", "first / 8, 0x80, (rows + 63)",
          SCAN, "predicate_test"),
    Fault("the wrong label in the selective path", "scan/define_predicate.h", '"mipo_" #selective_label', '"mipo_" #operation',
          SCAN, "predicate_test"),
    Fault("the constant of the selective path read too narrow", "column/byte_aligned_codes.h",
          "simd::read_native<Word>(konst->data)", "simd::read_native<Code>(konst->data)", SCAN, "predicate_test"),
    Fault("null rows let in by ne", "scan/operations.h", " | (codes == decltype(codes){})", "", SCAN, "predicate_test"),
    Fault("a constant beyond all codes cut to their width", "scan/operations.h", "high = greatest;", "high &= greatest;", SCAN,
          "predicate_test"),
    Fault("a wrong mask in one lane", "column/packed_codes.h", "(ub8{1} << bits) - 1) << shift)",
          "(ub8{1} << bits) - (lane == 5 ? 2 : 1)) << shift)", PACKED, "predicate_test"),
    Fault("a shuffle one byte off at one width", "column/packed_codes.h", "static_cast<ub1>(last - byte",
          "static_cast<ub1>((bits == 12 && lane == 1) + last - byte", PACKED, "predicate_test"),
    Fault("a complement forgotten", "scan/predicate.h", "Complement{equal}, output", "equal, output",
          SCAN, "predicate_test"),
    Fault("equal pairs with the wrong fields", "scan/paired.h", "low_fields_.complement()}", "low_fields_}", TRAILING_ZERO,
          "predicate_test"),
    Fault("the filter not applied", "scan/predicate.cpp", "mipo_lbiwvand_dydi(output.bits, &count, output.bits, src->filter_bv",
          "mipo_lbiwvand_dydi(output.bits, &count, output.bits, output.bits", FRAME, "predicate_test"),
    Fault("rows of narrow values stepped by their lane", "scan/fixed.h", "base_ + row * bytes));",
          "base_ + row * sizeof(Lane)));", FIXED, "predicate_test"),
    Fault("a constant of values read as a native number", "scan/fixed.h",
          "read_big_endian_bytes<bytes>(static_cast<const ub1 *>(konst->data))", "simd::read_native<Word>(konst->data)", FIXED,
          "predicate_test"),
    Fault("zero counts read from the low bits up", "scan/trailing_zero.cpp", "2 * (3 - row % 4)", "2 * (row % 4)",
          TRAILING_ZERO, "predicate_test"),
    Fault("the one count of all rows read as an array", "scan/trailing_zero.cpp", "row_mask_(3), step_(0)",
          "row_mask_(3), step_(block_bytes)", TRAILING_ZERO, "predicate_test"),
    Fault("fields of a half byte in the wrong order", "scan/field_set.h", "(rows - 1 - row)", "row", TRAILING_ZERO,
          "predicate_test"),
    Fault("an end of a range of pairs without its field", "scan/paired.h", "(high & fields_in(high_fields))", "high",
          TRAILING_ZERO, "predicate_test"),
    Fault("one entry off in a length table", "scan/dynamic_packed.h", "Control::valid(control) ? sum : 16",
          "Control::valid(control) ? sum + (control == 0x5a) : 16", DYNAMIC_PACKED, "predicate_test"),
    Fault("one selector off in a shuffle table", "scan/dynamic_packed.h", "stored ? start + byte : 0x80",
          "stored ? start + byte + (control == 0x6d && byte == 1) : 0x80", DYNAMIC_PACKED, "predicate_test"),
    Fault("a skip over control bytes that forgets their values", "scan/dynamic_packed.h",
          "sizeof(ub8) * Control::values + sum_of_fields(controls)", "sizeof(ub8) + sum_of_fields(controls)", DYNAMIC_PACKED,
          "predicate_test"),
    Fault("a run counted twice", "scan/burst_rle.cpp", "total += rows;", "total += rows + (rows == 64 ? rows : 0);", BURST,
          "burst_rle_test"),
    Fault("the last partial word not cleared", "scan/burst_rle.cpp", "(ub8{res->nrows} + 63) / 64", "ub8{res->nrows} / 64",
          BURST, "burst_rle_test"),
    Fault("a filter applied to a set", "scan/set.cpp", "{MIPO_DONE_SET, false}", "{MIPO_DONE_SET, true}", SET,
          "predicate_test"),
    Fault("a code missing in a small set", "scan/set.cpp", "upper * 16 < codes", "upper * 16 + 16 < codes", SET,
          "predicate_test"),
    Fault("null rows counted as the least code", "decode/minmax.h", "null_aware && code == 0 ? ~ub4{0} : code", "code",
          MINMAX,
          "minmax_test"),
    Fault("extremes taken from after the row that settles them", "decode/minmax.h", "stretch_end * block_rows);",
          "stretch_end * block_rows);\n      extremes = with_stretch;", MINMAX, "minmax_test"),
    Fault("codes of runs taken from the batch before", "decode/run_codes.h", "run >= end_", "run > end_", UNPACK,
          "decode_test"),
    Fault("a walk over runs not continued where it was left", "column/selected_rows.h",
          "ctx->next_row == 0 || ctx->run_end == 0", "ctx->next_row == 0 || ctx->run_end != 0", MINMAX, "minmax_test"),
    Fault("a missing mask after the limit", "bitvec/iterator.h", "left)) & low_bits(left)", "left))", ITERATORS,
          "iterator_test"),
    Fault("a word read after the vector", "bitvec/iterator.h", "it.word_base >= it.bit_limit",
          "it.word_base > it.bit_limit", ITERATORS, "iterator_test"),
    Fault("a bit lost where a chunk ends", "bitvec/ones.h", "chunk.written = capacity;",
          "chunk.written = capacity; it.pending &= it.pending - 1;", ITERATORS, "iterator_test"),
    Fault("row numbers stored after the capacity", "bitvec/ones.h", "room < word_bits + 8", "room < 1", ITERATORS,
          "iterator_test"),
    Fault("the wrong source complemented", "bitvec/algebra.cpp", "return ~a & b;", "return a & ~b;", BITVEC, "bitvec_test"),
    Fault("bits above the length counted", "bitvec/algebra.h", "used != 0)", "used == 1)", BITVEC, "bitvec_test"),
    Fault("a vector of numbers added up in double", "column/number_columns.h",
          "for (size_t i = 0; i < vector_rows; ++i) sum += numbers[i];",
          "double wide = sum;\n    for (size_t i = 0; i < vector_rows; ++i) wide += numbers[i];\n    sum = Number(wide);",
          ARITHMETIC, "arithmetic_test"),
    Fault("the running total added first", "column/number_columns.h", "Number sum = 0;",
          "Number sum = simd::read_native<Number>(cell);\n  memset(cell, 0, sizeof sum);", CONVERT, "convert_test"),
    Fault("products fused with their additions", "arith/column_arithmetic.cpp", '#include "arith/column_arithmetic.h"',
          '#pragma GCC optimize("fp-contract=fast")\n#pragma clang fp contract(fast)\n#include "arith/column_arithmetic.h"',
          ARITHMETIC, "arithmetic_test"),
    Fault("a constant on the left taken for the right", "arith/column_arithmetic.h",
          "column::NumberConstant<LeftForm>(left->data), right_column",
          "right_column, column::NumberConstant<LeftForm>(left->data)", ARITHMETIC,
          "arithmetic_test"),
    Fault("operands overtaken by their results", "column/number_columns.h", "if (!values.overlaps_forward(to))", "", ARITHMETIC,
          "arithmetic_test"),
    Fault("rows lost before a long result's first whole vector", "column/number_columns.h",
          "++row) store_row(results, values, row);", "++row) {}", ARITHMETIC, "arithmetic_test"),
    Fault("a not-a-number stored as it is", "move/convert.cpp", "magnitude <= limit ? one_zero : nan", "one_zero", CONVERT,
          "convert_test"),
    Fault("a zero stored with its sign", "move/convert.cpp", "sortable == negative_zero ? zero : sortable", "sortable",
          CONVERT, "convert_test"),
    Fault("bits of an earlier comparison lost", "arith/integer_sweeps.cpp", "res->bv[first / batch_rows] |= bits;",
          "res->bv[first / batch_rows] = bits;", SWEEPS, "integer_sweeps_test"),
    Fault("the last group of a prefix stream full", "decode/prefix_stream.cpp", "stored + 1, rows)", "stored + 1, group_rows)",
          PREFIX, "stream_test"),
    Fault("a first unequal row not filled after", "decode/stream_comparison.h", "+ (rows_ % 64 != 0)", "", COMPARISON,
          "stream_test"),
    Fault("rows of one length taken for equal", "decode/stream_comparison.h",
          "if (memcmp(left_.next(), right_.next(), bytes) != 0) return false;", "", COMPARISON, "stream_test"),
    Fault("a copy that forgets its place in the stream", "decode/selective_copy.h", "ctx->data_pos = walk_.position();", "",
          COPY, "stream_test"),
    Fault("a row without room passed over", "decode/selective_copy.h", "walk_.put_back(bytes);", "", COPY, "stream_test"),
    Fault("a group key shifted by the wrong column", "groupby/group_key.cpp", "columns.states[i].step_constant, rows",
          "columns.states[i - 1].step_constant, rows", GROUP_KEY, "group_key_test"),
    Fault("a resume of group keys one row late", "groupby/group_key.cpp", "ctx->next_row = decode_ctx.next_row;",
          "ctx->next_row = decode_ctx.next_row + (code != MIPO_DONE);", GROUP_KEY, "group_key_test"),
    Fault("a run of another column gone on with", "groupby/group_key.cpp", "state.run_index = ctx.run_index;", "", GROUP_KEY,
          "group_key_test"),
    Fault("scratch kept by a call that stopped", "groupby/group_key.cpp", "host->temp_free(", "if (code == 0) host->temp_free(",
          GROUP_KEY, "group_key_test"),
    Fault("one group key more than there are numbers", "groupby/group_key.h", "= 0xffffffff;", "= 0x100000000;", GROUP_KEY,
          "group_key_test"),
    Fault("sums of float kept in double", "groupby/group_sum.h", "typename Values::Number sum = 0;",
          "std::conditional_t<std::is_same_v<typename Values::Number, float>, double, typename Values::Number> sum = 0;", GROUP_SUM,
          "group_sum_test"),
    Fault("numbers added in another order than the rows'", "groupby/group_sum.h",
          "for (ub4 row = 0; row < rows; ++row) sum += values[row];", "for (ub4 row = rows; row-- != 0;) sum += values[row];",
          GROUP_SUM, "group_sum_test"),
    Fault("blocks of integers read in the wrong byte order", "column/integer_total.h", "big_endian && sizeof(T) > 1",
          "big_endian && sizeof(T) > 2", GROUP_SUM, "group_sum_test"),
    Fault("an absent entry of the wrong width", "xlate/entries.h", "(ub8{1} << bits) - 1);", "(ub8{1} << (bits == 16 ? 15 : bits)) - 1);",
          XLATE, "translation_test"),
    Fault("`off` without its base", "xlate/entries.h", "static_cast<ub4>(key) - base_", "static_cast<ub4>(key)", XLATE,
          "translation_test"),
    Fault("a null segment read", "xlate/entries.h", "choose(segment != nullptr,", "choose(true,", XLATE,
          "translation_test"),
    Fault("the greatest code not looked up", "xlate/entries.h", "greatest - least_ + 1 : 0", "greatest - least_ : 0", XLATE,
          "translation_test"),
    Fault("a neighbour's nibble clobbered", "xlate/entry_outputs.h", "(*place & 0xf0 >> shift) | ", "", XLATE,
          "translation_test"),
    Fault("wide entries stored narrow", "xlate/translate.h", "MIPO_EVAL_WIDE_ENTRIES) != 0", "MIPO_EVAL_WIDE_ENTRIES) == 1", XLATE,
          "translation_test"),
    Fault("entries of selected codes out of range stored", "xlate/translate.h", "output.store_if(in_range, row, entry);",
          "output.store_if(true, row, entry);", XLATE, "translation_test"),
    Fault("the key's shift without its wrap", "xlate/rows.h", "number <<= ((places & 31) * 8 - places) & 63;",
          "number = places > 9 ? 0 : number << places * 7;", XLATE, "translation_test"),
    Fault("a digit taken as unsigned", "xlate/rows.h", "static_cast<int8_t>(", "static_cast<ub1>(", XLATE, "translation_test"),
    Fault("a lone zero found in values of one length", "xlate/rows.h", "decimal_key<false>(", "decimal_key<true>(", XLATE,
          "translation_test"),
    Fault("first and last swapped", "bitvec/match_accumulator.h",
          "{with_rows ? first_ : no_row, with_rows ? last_ : no_row}", "{with_rows ? last_ : no_row, with_rows ? first_ : no_row}",
          XLATE, "translation_test"),
    Fault("a selection of codes ignored", "xlate/translate.h", "if (ctx->ones_vec == nullptr)", "if (true)", XLATE,
          "translation_test"),
    Fault("a code's segment found by five bits of the shift", "xlate/entries.h", "bloom_shift & 63)", "bloom_shift & 31)", XLATE,
          "translation_test"),
    Fault("lengths of values not cut to 16 bits", "xlate/rows.h", "static_cast<ub2>(end - start)", "end - start", XLATE,
          "translation_test"),
    Fault("values that are too long read", "xlate/rows.h", "has_length ? value : nothing.bytes", "value", XLATE,
          "translation_test"),
    Fault("separate lengths counted from the first row", "xlate/rows.h", "bit_(ub8{ctx->first_row} * length_bits_)", "bit_(0)",
          XLATE, "translation_test"),
    Fault("other rows of a word cleared", "bitvec/match_accumulator.h", "res->bv[word] |= bits;", "res->bv[word] = bits;", XLATE,
          "translation_test"),
    Fault("other rows of a Bloom result cleared", "bitvec/match_accumulator.h", "res->bv[word] |= bits;", "res->bv[word] = bits;", BLOOM,
          "bloom_test"),
    Fault("a Bloom tail row missed", "hash/bloom.h", "for (ub8 row = first; row < end;)", "for (ub8 row = first; row + 1 < end;)",
          BLOOM, "bloom_test"),
    Fault("a selection not told to be taken", "hash/bloom.h", "ctx->done_flags |= MIPO_DONE_BLOOM;", "", BLOOM, "bloom_test"),
    Fault("the last selected rows of a Bloom batch missed", "hash/bloom.h", "first < got; first += bitvec::word_rows",
          "first + bitvec::word_rows <= got; first += bitvec::word_rows", BLOOM, "bloom_test"),
    Fault("the other half of a wide hash", "hash/bloom.h", "(hash_bytes - sizeof(ub4))", "0", BLOOM, "bloom_test"),
    Fault("a segment's number not masked", "hash/bloom.h", "MIPO_VEC_ENC_CTX(filter)->bloom_shift & 31)",
          "std::min(MIPO_VEC_ENC_CTX(filter)->bloom_shift, 31u))", BLOOM, "bloom_test"),
    Fault("the seed of the row before", "hash/column_hash.cpp", "return seeds[row];", "return seeds[row == 0 ? 0 : row - 1];", HASH,
          "hash_test"),
    Fault("no jump in the size of segments", LAYOUT, "sizing.log2_segment_bytes < 12 ?", "sizing.log2_segment_bytes < 11 ?",
          LAYOUT, "kv_layout_test"),
    Fault("links beyond 32 bits", LAYOUT, "idx_overflow <= most_links", "idx_overflow <= most_links + 1", LAYOUT, "kv_layout_test"),
    Fault("symbols before plain values", "hash/column_hash.cpp", "if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_FIXED))",
          "if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_FIXED) && !MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_PACKED))", HASH, "hash_test"),
]


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--source", type=pathlib.Path, required=True)
    parser.add_argument("--build", type=pathlib.Path, required=True)
    parser.add_argument("--level", required=True)
    parser.add_argument("--compiler", default="c++", help="what links the library")
    parser.add_argument("--only", default="", help="a part of a fault's name")
    parser.add_argument("--sample", action="store_true",
                        help="the faults in files that the last commit or the work tree changed, and some others")
    return parser.parse_args()


def changed_files(source):
    """Files under src/ that differ from the commit before the last one; none if git does not tell."""
    for base in ("HEAD~1", "HEAD"):
        asked = subprocess.run(["git", "-C", source, "diff", "--name-only", "--relative=src", base, "--", "src"],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        if asked.returncode == 0:
            return set(asked.stdout.split())
    return set()


def sample(source):
    """At most `most_changed` of the files that changed, and `others` of all, drawn by the day."""
    most_changed, others = 10, 6
    seed = os.environ.get("MIPO_TEST_SEED", datetime.date.today().isoformat())
    draw = random.Random(seed)
    changed = [fault for fault in FAULTS if fault.file in changed_files(source)]
    chosen = draw.sample(changed, min(most_changed, len(changed)))
    rest = [fault for fault in FAULTS if fault not in chosen]
    print(f"a sample: {len(chosen)} faults in files that changed, {others} others drawn by MIPO_TEST_SEED={seed}")
    return chosen + draw.sample(rest, others)


class Builder:
    def __init__(self, arguments):
        self.source, self.build, self.level = arguments.source.resolve(), arguments.build.resolve(), arguments.level
        self.compiler = arguments.compiler
        marker = f"mipo_objects_{self.level}.dir"
        commands = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {os.path.relpath(entry["file"], self.source / "src"): entry for entry in commands
                         if marker in entry["command"]}

    def library(self, fault, number):
        """The library with the fault (or without one, if it is None); its path."""
        folder = self.build / "faults" / str(number)
        shutil.rmtree(folder, ignore_errors=True)
        shutil.copytree(self.source / "src", folder / "src")
        changed = SCAN
        if fault:
            file = folder / "src" / fault.file
            text = file.read_text()
            if text.count(fault.right) != 1:
                sys.exit(f"{fault.name}: '{fault.right}' stands {text.count(fault.right)} times in {fault.file}")
            file.write_text(text.replace(fault.right, fault.wrong))
            changed = fault.compiled
        objects = []
        for name, entry in self.commands.items():
            output = re.search(r" -o (\S+)", entry["command"])[1]
            if name != changed:
                objects.append(self.build / output)
                continue
            command = entry["command"].replace(str(self.source / "src"), str(folder / "src"))
            command = command.replace(f" -o {output}", f" -o {folder / 'wrong.o'}") + " -Wno-error"
            subprocess.run(shlex.split(command), cwd=entry["directory"], check=True)
            objects.append(folder / "wrong.o")
        library = folder / "libmipo.so.1"
        subprocess.run([self.compiler, "-shared", "-nostdlib", "-Wl,-soname,libmipo.so.1", "-Wl,-z,relro,-z,now",
                        f"-Wl,--version-script={self.source}/src/frame/exports.map", *objects, "-lc", "-o", library],
                       check=True)
        return library

    def run_test(self, test, library):
        """Whether the test passes on the library, and what it printed."""
        # A fault is caught by the first comparison that fails: the test prints it and ends there, by an exception.
        environment = {**os.environ, "MIPO_TEST_LIBRARY": str(library), "GTEST_THROW_ON_FAILURE": "1"}
        done = subprocess.run([self.build / "tests" / test], env=environment,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace")
        if done.returncode == 2:  # the harness could not open the library: that proves nothing
            sys.exit(done.stdout)
        return done.returncode == 0, done.stdout


def main():
    arguments = parse_arguments()
    builder = Builder(arguments)
    faults = sample(arguments.source) if arguments.sample else [f for f in FAULTS if arguments.only in f.name]

    right = builder.library(None, "none")
    for test in sorted({fault.test for fault in faults}):
        passed, output = builder.run_test(test, right)
        if not passed:
            sys.exit(f"{output}\n{test} fails without any fault")

    def check(numbered):
        number, fault = numbered
        passed, output = builder.run_test(fault.test, builder.library(fault, number))
        caught = not passed and (": Failure" in output or "access outside" in output)
        return fault, caught

    missed = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        for fault, caught in pool.map(check, enumerate(faults)):
            print(f"{'caught' if caught else 'MISSED'}  {fault.name} ({fault.test})", flush=True)
            missed += not caught
    print(f"{len(faults) - missed} of {len(faults)} faults caught")
    return 1 if missed or not faults else 0


sys.exit(main())
