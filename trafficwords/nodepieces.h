#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

/// Joins the pieces in which a node sends its answer. Bounded: what strangers send cannot fill the memory.
class NodePieces final {
public:
    /// What the pieces of one node hold by now.
    struct Found {
        QByteArrayList frames; ///< the payloads of whole node frames, without escapes; at most MostFrames
        bool dropped = false; ///< bytes were dropped: too many without the end of a frame, or too many frames
        bool isOpen = false; ///< bytes wait for the rest of their frame
    };
    [[nodiscard]] Found Take(const QByteArray& uin, const QByteArray& piece);

    /// A message of this node was lost: what waits cannot become whole.
    void Forget(const QByteArray& uin) { held.remove(uin); }

    static constexpr qsizetype MostHeld = 1024; ///< bytes of one node
    static constexpr qsizetype MostNodes = 1000; ///< of which bytes are held; a further one makes all forgotten
    static constexpr qsizetype MostFrames = 8; ///< out of one piece

private:
    QHash<QByteArray, QByteArray> held;
};
