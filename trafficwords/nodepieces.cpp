#include "nodepieces.h"

#include "nodeframe.h"

NodePieces::Found NodePieces::Take(const QByteArray& uin, const QByteArray& piece)
{
    Found found;
    QByteArray bytes = held.take(uin) + piece;
    while (bytes.contains('\xC0') && bytes.contains('\xC1') && found.frames.size() < MostFrames) {
        const bool hasBeginning = bytes.indexOf('\xC0') < bytes.indexOf('\xC1');
        const QByteArray frame = NodeFrame::FromC0C1(bytes, bytes);
        if (hasBeginning)
            found.frames.append(frame);
    }
    bytes.remove(0, bytes.contains('\xC0') ? bytes.indexOf('\xC0') : bytes.size());
    if (bytes.size() > MostHeld || bytes.contains('\xC1')) {
        found.dropped = true;
        return found;
    }
    found.isOpen = !bytes.isEmpty();
    if (held.size() >= MostNodes)
        held.clear();
    if (found.isOpen)
        held.insert(uin, bytes);
    return found;
}
