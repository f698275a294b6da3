#include "HeldOutput.h"

#include "ErrorLine.h"

namespace h265ps {

namespace {

// The blocks of a thousand different parameter sets; repeats are counted only.
constexpr std::size_t MAX_HELD = std::size_t{4} << 20;

constexpr std::size_t PIECE_SIZE = std::size_t{64} << 10;

} // namespace

void CHeldOutput::hold()
{
    drop();
    m_bLost = false;
    m_bHolding = true;
}

void CHeldOutput::drop()
{
    m_pieces = {};
    m_uiSize = 0;
    m_bLost = true;
}

void CHeldOutput::release()
{
    m_bHolding = false;
    m_bLost = false;
    m_uiSize = 0;
    const std::vector<Piece> pieces = std::move(m_pieces);
    m_pieces = {};
    for (const Piece& piece : pieces)
        write(piece.text, piece.bError);
}

void CHeldOutput::take(std::string_view text, bool bError)
{
    if (!m_bHolding)
        return write(text, bError);
    if (m_bLost)
        return;
    if (m_uiSize + text.size() > MAX_HELD)
        return drop();
    if (m_pieces.empty() || m_pieces.back().bError != bError || m_pieces.back().text.size() > PIECE_SIZE)
        m_pieces.push_back({bError, {}});
    m_pieces.back().text += text;
    m_uiSize += text.size();
}

void CHeldOutput::write(std::string_view text, bool bError)
{
    if (!bError)
        return m_output.append(text);
    writeLine(text, m_output);
}

} // namespace h265ps
