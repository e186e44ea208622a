#include "platform/dom/file_text.h"

#include <new>
#include <utility>

namespace cfgex {

void FileText::Changed(const xmlNode* c_piece) noexcept {
  if (m_Pieces.empty()) return;
  // More changes than pieces: nothing is left to be used.
  if (m_Stale.size() > m_Pieces.size()) return Clear();
  try {
    m_Stale.insert(c_piece);
  } catch (const std::bad_alloc&) {
    Clear();
  }
}

void FileText::Clear() noexcept {
  m_Pieces.clear();
  m_Stale.clear();
}

std::string FileText::Start() {
  m_NewPieces.clear();
  m_Next = 0;
  std::string buffer = std::move(m_Spare);
  buffer.clear();
  return buffer;
}

std::string_view FileText::Find(const xmlNode* c_piece) noexcept {
  while (m_Next < m_Pieces.size() && m_Stale.contains(m_Pieces[m_Next].c_node)) ++m_Next;
  if (m_Next == m_Pieces.size() || m_Pieces[m_Next].c_node != c_piece) return {};
  const Piece& piece = m_Pieces[m_Next++];
  return std::string_view(m_Text).substr(piece.begin, piece.end - piece.begin);
}

void FileText::Place(const xmlNode* c_piece, std::size_t begin, std::size_t end) {
  m_NewPieces.push_back({c_piece, begin, end});
}

const std::string& FileText::Finish(std::string text) noexcept {
  m_Spare = std::exchange(m_Text, std::move(text));
  m_Pieces.swap(m_NewPieces);
  m_Stale.clear();
  return m_Text;
}

}  // namespace cfgex
