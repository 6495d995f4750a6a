/// Threats to enemy pieces and pawns.
#ifndef TARSIMO_EVAL_THREATS_H
#define TARSIMO_EVAL_THREATS_H

#include "eval/weights.h"

namespace tarsimo {

/// What the colour Us attacks: more valuable pieces, undefended ones, pawn steps that would attack.
/// Reads all attacks of both sides.
template <int Us> ScorePair threat_terms();

}  // namespace tarsimo

#endif
