/// Material with which a lead is hard or impossible to win.
#ifndef TARSIMO_EVAL_DRAWISH_H
#define TARSIMO_EVAL_DRAWISH_H

namespace tarsimo {

/// A lead in full.
constexpr int FULL_SCALE = 64;

/// How much of a lead of the colour Us counts, in 64ths: less where material is drawish.
template <int Us> int drawish_scale();

}  // namespace tarsimo

#endif
