// The choices a caller makes on the way to the transmitter, named so that a call reads as what
// it asks for.
#pragma once

namespace corvane {

// How a reply is judged: by the link alone (a valid reply is success), or also by the refusal
// rule of checked commands.
enum class ReplyCheck { LinkOnly, RefuseOnText };

// Whether a failed exchange backs off for the transmitter's dead time, still holding the
// session, before it gives the port up.
enum class DeadTime { Skip, Wait };

// Which of the transmitter's buffers a message goes into.
enum class TxBuffer { SelfTimed, Random };

}  // namespace corvane
