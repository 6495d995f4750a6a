/// Scores: centipawns for the side to move, and the distances of mates among them.
#ifndef TARSIMO_EVAL_SCORE_H
#define TARSIMO_EVAL_SCORE_H

namespace tarsimo {

/// Every score lies between minus this and this.
constexpr int INFINITE_SCORE = 32000;

/// No score yet: what the best of a node is before its first move.
constexpr int NO_SCORE = -32000;

/// Score of the side that is mated at a ply below the root.
constexpr int mated_in(int ply) { return ply - 31999; }

/// Score of the side that mates with its move to a ply below the root.
constexpr int mate_in(int ply) { return -mated_in(ply); }

/// Bound of mate-distance pruning at a ply: no score of a node there is beyond it.
constexpr int mate_bound(int ply) { return 32000 - ply; }

/// A score beyond it in magnitude is that of a mate.
constexpr int MATE_THRESHOLD = 31900;

/// True if the side to move mates.
constexpr bool is_mate(int score) { return score > MATE_THRESHOLD; }

/// True if the side to move is mated.
constexpr bool is_mated(int score) { return score < -MATE_THRESHOLD; }

}  // namespace tarsimo

#endif
