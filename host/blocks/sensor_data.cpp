#include "platform/sensor_data.h"

CSensorData::CSensorData() = default;

CSensorData::CSensorData(const TValue& value, TTime time, int quality)
    : value_(value), time_(time), quality_(quality), flags_(0) {}

void CSensorData::SetError(bool on) {
    flags_ = on ? (flags_ | SENSOR_FLAG_ERROR) : (flags_ & ~SENSOR_FLAG_ERROR);
}

void CSensorData::SetNoData(bool on) {
    flags_ = on ? (flags_ | SENSOR_FLAG_NODATA) : (flags_ & ~SENSOR_FLAG_NODATA);
}

bool CSensorData::operator==(const CSensorData& other) const {
    return value_ == other.value_ && time_ == other.time_ && quality_ == other.quality_ &&
           flags_ == other.flags_;
}
