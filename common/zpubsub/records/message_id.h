// What the daemons of the three modules say to each other: the ids of their messages, whose names
// are their texts in logs.
#pragma once

namespace IMSG {

#define Q5_MESSAGES(X)            \
  X(1, UNFREEZEMSG)               \
  X(2, FREEZEMSG)                 \
  X(3, PFCBUSMSG)                 \
  X(4, LINEFREQMSG)               \
  X(5, DFRATZEROMSG)              \
  X(6, EARLYDCDONEMSG)            \
  X(7, CHANEVENTMSG)              \
  X(8, SETMESRLYMSG)              \
  X(9, SETSRCRLYMSG)              \
  X(10, RESETMESRLYMSG)           \
  X(11, RESETSRCRLYMSG)           \
  X(12, SOSACKMSG)                \
  X(13, MOSACKMSG)                \
  X(14, EARLYDCOFFSETCOMPLETEMSG) \
  X(15, XMLPOSTMSG)               \
  X(16, LVSFILTERRELAYMSG)        \
  X(17, LVSFILTERACKMSG)          \
  X(18, XMLUPLOADMSG)             \
  X(19, UNMOUNTMSG)               \
  X(20, FPESTOPMSG)               \
  X(21, RECOVERSOSMSG)            \
  X(22, SOSESTOPMSG)              \
  X(23, SOSSSWITCHMSG)            \
  X(24, SOSACKSSWITCHMSG)         \
  X(25, RESETMSGMONITORTIMERMSG)  \
  X(26, TEMPERMSG)                \
  X(27, LOGFORCEROTATEMSG)        \
  X(28, STARTPROCESSMSG)          \
  X(29, PROCESSSTARTDONEMSG)      \
  X(30, SOSCONFIGRECORDMSG)       \
  X(31, SOURCESTATUSENQUIRYMSG)   \
  X(32, SOURCESTATUSINFOMSG)      \
  X(33, RELAY_REQUEST_RESETMSG)   \
  X(34, RELAY_REQUEST_SETMSG)     \
  X(35, RELAY_REPLY_RESETMSG)     \
  X(36, RELAY_REPLY_SETMSG)       \
  X(37, GETSERVERSTATUSMSG)       \
  X(38, SENTSERVERSTATUSMSG)

// NOLINTBEGIN(bugprone-macro-parentheses): an enumerator takes none
enum MessageId : int {
#define X(id, name) name = id,
  Q5_MESSAGES(X)
#undef X
};
// NOLINTEND(bugprone-macro-parentheses)

inline constexpr int kFirstMessage = UNFREEZEMSG;
inline constexpr int kLastMessage = SENTSERVERSTATUSMSG;

/// The name of a message, "UNKNOWNMSG" for a number that is no id.
const char* GetMsgStr(int id);

}  // namespace IMSG
