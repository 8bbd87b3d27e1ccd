// mipo_burst_rle_<8, 16>bit[_cla]: a bit vector over runs becomes one over rows. The `_cla` kernels know where a run
// starts, the others add up lengths.
#include "bitvec/form.h"
#include "column/runs.h"
#include "interface/entry_functions.h"
#include "scan/kernels.h"

namespace mipo::scan {
namespace {

// Sets ranges of ascending rows in words that nobody has cleared: each is cleared when the rows come to it.
class RowWriter {
public:
  explicit RowWriter(ub8 *words) : words_(words) {}

  // The last store may be a zero to the word after the rows, where they end with a word: the result needs one spare
  // word past the rows.
  void set(ub8 first, ub8 rows) {
    ub8 word = first / 64;
    const ub8 bit = first % 64;
    clear_up_to(word + 1);
    if (bit != 0) {
      const ub8 room = 64 - bit;
      if (rows < room) {
        words_[word] |= bitvec::low_bits(rows) << bit;
        return;
      }
      words_[word++] |= ~ub8{0} << bit;
      rows -= room;
    }
    if (rows > 63) {
      memset(words_ + word, 0xff, rows / 64 * sizeof(ub8));
      word += rows / 64;
    }
    words_[word] = bitvec::low_bits(rows % 64);
    cleared_ = word + 1;
  }

  void clear_up_to(ub8 words) {
    if (cleared_ >= words) return;
    memset(words_ + cleared_, 0, (words - cleared_) * sizeof(ub8));
    cleared_ = words;
  }

private:
  ub8 *words_;
  ub8 cleared_ = 0; // words that are a result already
};

// Where the walk is: runs are asked for in ascending order.
template <class Runs>
class RunPosition {
public:
  explicit RunPosition(const mipo_enc_ctx *enc_ctx) : runs_(enc_ctx) {}

  ub4 start(ub4 run) {
    row_ += runs_.rows(run_, run);
    run_ = run;
    return row_;
  }
  ub4 length(ub4 run) const { return runs_.length(run); }

private:
  Runs runs_;
  ub4 run_ = 0, row_ = 0;
};
template <>
class RunPosition<column::RunStarts> : public column::RunStarts {
public:
  using column::RunStarts::RunStarts;
};

template <class Runs>
ub4 expand_runs(mipo_vec *res, const mipo_enc_ctx *enc_ctx, const ub8 *selected) {
  mipo_lbiv_ictx iterator;
  mipo_lbiwv_ictx_ini2_dydi(&iterator, selected, enc_ctx->run_count, 0, 0);
  RunPosition<Runs> position(enc_ctx);
  RowWriter writer(res->bv);
  ub4 total = 0;

  constexpr ub8 batch = 256;
  ub4 numbers[batch];
  ub8 got = 0;
  do {
    got = mipo_lbiwvones_dydi(&iterator, numbers, batch);
    for (ub8 i = 0; i < got; ++i) {
      const ub4 rows = position.length(numbers[i]);
      writer.set(position.start(numbers[i]), rows);
      total += rows;
    }
  } while (got == batch);

  writer.clear_up_to((ub8{res->nrows} + 63) / 64);
  res->nset = total;
  return total == 0 ? MIPO_EMPTY : MIPO_DONE;
}

} // namespace
} // namespace mipo::scan

// In the kernels' own frames, so that a report names them.
#define CHECK_OPERANDS()                                                         \
  if (!MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_RLE))                       \
    MIPO_ASSERTION_FAILED("MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_RLE)"); \
  if (aux->ones_vec == res->bv) MIPO_ASSERTION_FAILED("mipo_bv_res != mipo_bv_aux")

extern "C" {

ub4 mipo_burst_rle_8bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
  CHECK_OPERANDS();
  return mipo::scan::expand_runs<mipo::column::RunLengths<ub1>>(res, MIPO_VEC_ENC_CTX(src), aux->ones_vec);
}

ub4 mipo_burst_rle_16bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
  CHECK_OPERANDS();
  return mipo::scan::expand_runs<mipo::column::RunLengths<ub2>>(res, MIPO_VEC_ENC_CTX(src), aux->ones_vec);
}

ub4 mipo_burst_rle_8bit_cla(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
  CHECK_OPERANDS();
  return mipo::scan::expand_runs<mipo::column::RunStarts>(res, MIPO_VEC_ENC_CTX(src), aux->ones_vec);
}

ub4 mipo_burst_rle_16bit_cla(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
  CHECK_OPERANDS();
  return mipo::scan::expand_runs<mipo::column::RunStarts>(res, MIPO_VEC_ENC_CTX(src), aux->ones_vec);
}
}

#undef CHECK_OPERANDS
