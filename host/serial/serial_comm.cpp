#include <string>

#include "host/serial/serial_ports.h"
#include "host/text/utf8.h"
#include "platform/report.h"
#include "platform/serial.h"

CSerialComm::CSerialComm() = default;

CSerialComm::~CSerialComm() = default;

void CSerialComm::SetPortName(const std::wstring& name) {
    name_ = name;
}

bool CSerialComm::SetConfiguration(DWORD baud, BYTE dataBits, BYTE parity, BYTE /*flowControl*/,
                                   BYTE stopBits) {
    if (baud == 0 || dataBits < 5 || dataBits > 8 || parity > 2 || stopBits < 1 || stopBits > 2)
        return false;
    baud_ = baud;
    dataBits_ = dataBits;
    parity_ = parity;
    stopBits_ = stopBits;
    if (transport_)
        return transport_->Configure(baud_, dataBits_, parity_, stopBits_);
    return true;
}

bool CSerialComm::SetTimeouts(const COMMTIMEOUTS& timeouts) {
    timeouts_ = timeouts;
    return true;
}

bool CSerialComm::Open() {
    Close();
    std::string error;
    auto transport = tarvo::host::OpenTransport(name_, error);
    if (!transport) {
        TReport::Warning("CSerialComm: cannot open port \"%s\": %s.",
                         tarvo::host::ToUtf8(name_).c_str(), error.c_str());
        return false;
    }
    if (!transport->Configure(baud_, dataBits_, parity_, stopBits_)) {
        const std::string name = tarvo::host::ToUtf8(name_);
        TReport::Warning(
            "CSerialComm: port \"%s\" refuses %u baud, %u data bits, parity %u, %u "
            "stop bits.",
            name.c_str(), static_cast<unsigned>(baud_), unsigned{dataBits_}, unsigned{parity_},
            unsigned{stopBits_});
        return false;
    }
    transport_ = std::move(transport);
    return true;
}

bool CSerialComm::Open(const std::wstring& name) {
    SetPortName(name);
    return Open();
}

bool CSerialComm::Close() {
    transport_.reset();
    return true;
}

bool CSerialComm::IsOpen() const {
    return transport_ != nullptr;
}

bool CSerialComm::PutByte(BYTE byte) {
    return transport_ && transport_->Send(&byte, 1);
}

bool CSerialComm::GetByte(BYTE& byte) {
    return transport_ && transport_->Receive(&byte, 1, timeouts_) == 1;
}

DWORD CSerialComm::Get(BYTE* buffer, DWORD count) {
    if (!transport_ || buffer == nullptr)
        return 0;
    return static_cast<DWORD>(transport_->Receive(buffer, count, timeouts_));
}

bool CSerialComm::FlushInput() {
    return transport_ && transport_->FlushInput();
}

DWORD CSerialComm::NumberBytesInputBuffer() {
    return transport_ ? static_cast<DWORD>(transport_->BytesWaiting()) : 0;
}

bool CSerialComm::WaitForTxEmpty(BYTE lastByte) {
    return transport_ && transport_->Send(&lastByte, 1) && transport_->Drain();
}
