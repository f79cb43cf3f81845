#pragma once

#include <stddef.h>
#include <stdint.h>

// The protocol of the RS485 test device, 9600 baud, 8N1. A command frame is 0xB5, address, command, four data
// bytes, and the sum of these seven, modulo 256. Every command but the stop is answered by one reply.

constexpr size_t rs485FrameBytes = 8;
constexpr uint8_t rs485FrameStart = 0xB5;
constexpr uint8_t rs485DeviceAddress = 0x01;
constexpr uint8_t rs485StopCommand = 0x14;

constexpr int rs485TrialCount = 3;
constexpr uint8_t Rs485TestFrames[rs485TrialCount][rs485FrameBytes] = {
    {rs485FrameStart, rs485DeviceAddress, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBE},
    {rs485FrameStart, rs485DeviceAddress, 0x09, 0x00, 0x03, 0x00, 0x00, 0xC2},
    {rs485FrameStart, rs485DeviceAddress, 0x08, 0x00, 0x01, 0x00, 0x00, 0xBF},
};
constexpr uint8_t rs485StopFrame[rs485FrameBytes] = {
    rs485FrameStart, rs485DeviceAddress, rs485StopCommand, 0x00, 0x00, 0x00, 0x00, 0xCA};

constexpr uint8_t rs485ReplyLead = 0xAA;
constexpr size_t rs485ReplyBytes = 5;  // after the lead
constexpr uint8_t Rs485ExpectedReply[rs485ReplyBytes] = {0xBB, 0x20, 0x12, 0x11, 0x22};
