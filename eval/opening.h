/// Opening terms.
#ifndef TARSIMO_EVAL_OPENING_H
#define TARSIMO_EVAL_OPENING_H

namespace tarsimo {

/// Opening terms of one colour in centipawns: centre pawns, castling, development, fianchetto.
/// Sets the colour's development count.
template <int Us> int opening_terms();

}  // namespace tarsimo

#endif
