/// The king behind its pawns, and pawns that storm the enemy's.
#ifndef TARSIMO_EVAL_SHELTER_H
#define TARSIMO_EVAL_SHELTER_H

namespace tarsimo {

/// Shelter of the king of one colour in centipawns, to be scaled by the opponent's pieces.
template <int Us> int shelter();

/// Own pawns on the two ranks in front of the enemy king, within two files of it: 0..10. They storm
/// only a king on the other wing than the own one; elsewhere they are that king's neighbours.
template <int Us> int storming_pawns();

}  // namespace tarsimo

#endif
