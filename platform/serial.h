// The platform's serial port. Names such as "COM2:" resolve through the host's port map to a
// device (termios; a pseudo-terminal works) or to one end of an in-memory line.
#pragma once

#include <memory>
#include <string>

#include "platform/types.h"

// The read and write time-outs of a port, in milliseconds, with the meanings of the Win32 record.
// A read waits at most ReadIntervalTimeout for each byte (also the first one) when the interval
// is non-zero; the total limit, when non-zero, is Multiplier * bytes requested + Constant.
struct COMMTIMEOUTS {
    DWORD ReadIntervalTimeout;
    DWORD ReadTotalTimeoutMultiplier;
    DWORD ReadTotalTimeoutConstant;
    DWORD WriteTotalTimeoutMultiplier;
    DWORD WriteTotalTimeoutConstant;
};

namespace tarvo::host {
class Transport;
}

class CSerialComm {
  public:
    CSerialComm();
    ~CSerialComm();
    CSerialComm(const CSerialComm&) = delete;
    CSerialComm& operator=(const CSerialComm&) = delete;

    // Settings made before Open are applied when it opens; made while open, at once.
    void SetPortName(const std::wstring& name);
    const std::wstring& GetPortName() const { return name_; }
    // parity: 0 none, 1 odd, 2 even. The fifth argument selects hardware flow control when 1
    // on ports that have it; the host's ports accept and ignore it.
    bool SetConfiguration(DWORD baud, BYTE dataBits, BYTE parity, BYTE flowControl, BYTE stopBits);
    bool SetTimeouts(const COMMTIMEOUTS& timeouts);

    // Opens the named port; false (with a Warning in the log) when the name maps to nothing or
    // the device cannot be opened.
    bool Open();
    bool Open(const std::wstring& name);
    bool Close();
    bool IsOpen() const;

    bool PutByte(BYTE byte);
    // Reads one byte within the read time-outs; false when none came.
    bool GetByte(BYTE& byte);
    // Reads up to `count` bytes within the read time-outs; returns how many arrived.
    DWORD Get(BYTE* buffer, DWORD count);
    bool FlushInput();
    DWORD NumberBytesInputBuffer();
    // Sends `lastByte` and returns once every byte written has left the line.
    bool WaitForTxEmpty(BYTE lastByte);

  private:
    std::wstring name_;
    DWORD baud_ = 9600;
    BYTE dataBits_ = 8;
    BYTE parity_ = 0;
    BYTE stopBits_ = 1;
    COMMTIMEOUTS timeouts_{};
    std::unique_ptr<tarvo::host::Transport> transport_;
};
