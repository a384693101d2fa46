#include "corvane/shared/messenger_thread.h"

CMessengerThread::CMessengerThread(const std::string& name)
    : name_(name), stopEvent_(true, true, name + " stop") {}

CMessengerThread::~CMessengerThread() {
    Stop();
}

bool CMessengerThread::Start(std::function<void()> body) {
    if (thread_) {
        return false;
    }
    stopEvent_.Reset();
    thread_ = std::make_unique<TThread>(std::move(body), name_);
    return true;
}

bool CMessengerThread::Stop() {
    if (!thread_) {
        return false;
    }
    stopEvent_.Set();
    thread_->Join(INFINITE);
    thread_.reset();
    return true;
}
