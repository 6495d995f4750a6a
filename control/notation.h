/// Names of squares and moves.
#ifndef TARSIMO_CONTROL_NOTATION_H
#define TARSIMO_CONTROL_NOTATION_H

#include "board/move_list.h"

#include <string>

namespace tarsimo {

inline constexpr char SAN_LETTERS[] = "  NBRQK";      ///< by piece type; a blank for the pawn
inline constexpr char SPANISH_LETTERS[] = " PCATDR";  ///< by piece type
inline constexpr char FEN_LETTERS[] = " pnbrqk";      ///< by piece type

/// Two characters for a square, "--" for one off the board.
std::string square_name(int sq);

/// A move in coordinates, "e7e8q".
std::string coordinate_name(const Move& move);

/// A move in Spanish long notation, "Cg1xf3", not yet made.
std::string spanish_name(const Move& move);

/// The square that a file letter a..h in either case and a rank digit name, 0 for none.
int square_of(char file, char rank);

/// True if a word begins with the names of two squares, as a move in coordinates does.
bool looks_like_a_move(const std::string& word);

}  // namespace tarsimo

#endif
