// The text of a document's file, kept so that the next one can be put together from it.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace cfgex {

// Pieces are the elements of the third level: the serializer writes each of them the same wherever
// it stands, so the text of one that has not changed need not be made again.
//
// Invariants:
//   1. m_Pieces tells, in order, where each piece stood in m_Text when that was written.
//   2. A node in m_Pieces that is not in m_Stale is still a piece of the document, unchanged, and
//      comes in the document in the same order among its like.
class FileText {
 public:
  // The piece has changed, left its place, or come to it.
  void Changed(const xmlNode* c_piece) noexcept;
  void Clear() noexcept;

  // One writing of the whole file. Pieces are asked for in document order, each by Find and then,
  // with its place in the new text, Place. `Start` gives the buffer for the new text, `Finish`
  // takes it, and gives it out to be read until the next change.
  std::string Start();
  // The text of a piece that has not changed; empty for one that has.
  std::string_view Find(const xmlNode* c_piece) noexcept;
  void Place(const xmlNode* c_piece, std::size_t begin, std::size_t end);
  const std::string& Finish(std::string text) noexcept;

 private:
  struct Piece {
    const xmlNode* c_node;
    std::size_t begin;
    std::size_t end;
  };

  std::string m_Text;
  std::vector<Piece> m_Pieces;
  std::unordered_set<const xmlNode*> m_Stale;
  // While the file is written: what is being made, and how far in m_Pieces the writing is.
  std::vector<Piece> m_NewPieces;
  std::size_t m_Next = 0;
  std::string m_Spare;  // the text before, for its memory
};

}  // namespace cfgex
