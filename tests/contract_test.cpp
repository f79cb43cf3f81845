// The numbers that the tool and the outside world agree on, a second time: tool and virtual board share their
// headers, so a wrong number there would show in no run.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <set>
#include <string>

#include "r8/contract/ata_identity.h"
#include "r8/contract/boot_record.h"
#include "r8/contract/control_requests.h"
#include "r8/contract/cpld_record.h"
#include "r8/contract/panel_frames.h"
#include "r8/contract/port_multiplier.h"
#include "r8/contract/report_record.h"
#include "r8/contract/rs485_frames.h"

namespace {

TEST(Contract, ControlRequests) {
    enum Kind { value, toDriver, fromDriver };
    const struct {
        const char* name;
        unsigned ours;
        unsigned code;
        Kind argument;
        unsigned bytes;
    } rows[] = {
        {"ZORIO_GET_CPLD_INFO", ZORIO_GET_CPLD_INFO, 0x40404809, fromDriver, 64},
        {"ZORIO_GET_BOOT_PARMS", ZORIO_GET_BOOT_PARMS, 0x41004808, fromDriver, 256},
        {"ZORIO_GET_STEP_GATE", ZORIO_GET_STEP_GATE, 0x40014819, fromDriver, 4},
        {"ZORIO_SET_WDT_TIMEOUT", ZORIO_SET_WDT_TIMEOUT, 0x20, value, 0},
        {"ZORIO_SET_MODE", ZORIO_SET_MODE, 0x22, value, 0},
        {"ZORIO_SET_BUZZER", ZORIO_SET_BUZZER, 0x40014805, toDriver, 1},
        {"ZORIO_RESET_PM", ZORIO_RESET_PM, 0x52, value, 0},
        {"ZORIO_GPIO_SET_OUTPUT", ZORIO_GPIO_SET_OUTPUT, 0x3, value, 0},
        {"ZORIO_GPIO_WRITE", ZORIO_GPIO_WRITE, 0x1, value, 0},
        {"ZORIO_ALARM_INIT", ZORIO_ALARM_INIT, 0x40044812, toDriver, 4},
        {"ZORIO_SET_ALARM_OUT", ZORIO_SET_ALARM_OUT, 0x40014807, toDriver, 1},
        {"ZORIO_GET_ALARM_IN", ZORIO_GET_ALARM_IN, 0x40024806, fromDriver, 2},
        {"ZORIO_RS485_TX_ENABLE", ZORIO_RS485_TX_ENABLE, 0x40044814, value, 0},
        {"ZORIO_RS485_RX_ENABLE", ZORIO_RS485_RX_ENABLE, 0x40044815, value, 0},
        {"ZORIO_GET_CHIP_TEMP", ZORIO_GET_CHIP_TEMP, 0x60, fromDriver, 1},
    };
    for (const auto& [name, ours, code, argument, bytes] : rows) {
        SCOPED_TRACE(name);
        const ControlRequest* request = findControlRequest(code);
        ASSERT_NE(request, nullptr);
        EXPECT_EQ(ours, code);
        EXPECT_STREQ(request->name, name);
        EXPECT_EQ(static_cast<int>(request->argument), argument);
        EXPECT_EQ(request->bytes, bytes);
    }
    for (const ControlRequest& request : controlRequests) {
        EXPECT_TRUE(std::any_of(std::begin(rows), std::end(rows),
                                [&](const auto& row) { return std::string(row.name) == request.name; }))
            << request.name << " has no row here";
    }
}

// Each field is found where the CPLD keeps it: of a description with only its bits set it reads the highest
// value that it can have, and every other field reads 0 but for one that shares its byte as a whole.
TEST(Contract, BoardDescription) {
    const struct {
        CpldField field;
        unsigned offset;
        std::array<std::uint8_t, 2> bits;  // of the field's bytes
        int highest;
    } rows[] = {
        {cpld.pcbNumber, 4, {0xFF, 0xFF}, 0xFFFF}, {cpld.sdramClock, 16, {0xF0, 0}, 15},
        {cpld.memoryType, 16, {0x0F, 0}, 15},      {cpld.chipType, 17, {0xF0, 0}, 15},
        {cpld.armClock, 17, {0x0F, 0}, 15},        {cpld.flashType, 19, {0xF0, 0}, 15},
        {cpld.flashSize, 19, {0x0F, 0}, 15},       {cpld.cpldDate, 20, {0xFF, 0xFF}, 0xFFFF},
        {cpld.panelType, 23, {0xF0, 0}, 15},       {cpld.deviceType, 23, {0x0F, 0}, 15},
        {cpld.talkback, 24, {0x0F, 0}, 15},        {cpld.audioInCount, 25, {0xFF, 0}, 255},
        {cpld.audioOutCount, 27, {0xF0, 0}, 15},   {cpld.mac0Mode, 29, {0xF0, 0}, 15},
        {cpld.mac1Mode, 29, {0x0F, 0}, 15},        {cpld.mac1Phy, 30, {0xFF, 0}, 255},
        {cpld.mac0Phy, 31, {0xFF, 0}, 255},        {cpld.phy1Id, 32, {0xFF, 0}, 255},
        {cpld.phy0Id, 33, {0xFF, 0}, 255},         {cpld.sataPmChip, 34, {0xF0, 0}, 15},
        {cpld.esataPortCount, 34, {0x0F, 0}, 15},  {cpld.diskPortCount, 35, {0xFF, 0}, 255},
        {cpld.usbCount, 37, {0xF0, 0}, 15},        {cpld.alarmOutCount, 38, {0xFF, 0}, 255},
        {cpld.alarmInCount, 39, {0xFF, 0}, 255},   {cpld.cvbsOutCount, 40, {0xF0, 0}, 15},
        {cpld.vgaOutCount, 41, {0xF0, 0}, 15},     {cpld.hdmiOutCount, 41, {0x0F, 0}, 15},
        {cpld.rs485Duplex, 42, {0xF0, 0}, 15},     {cpld.rs232Count, 43, {0xF0, 0}, 15},
        {cpld.rs485Count, 43, {0x0F, 0}, 15},
    };
    for (const auto& row : rows) {
        CpldInfo info = {};
        info.bytes[row.offset] = row.bits[0];
        info.bytes[row.offset + 1] = row.bits[1];
        for (const auto& other : rows) {
            EXPECT_EQ(cpldField(info, other.field), &other == &row ? row.highest : 0) << row.offset;
        }
    }
    EXPECT_EQ(std::size(rows), cpldFieldCount);
    CpldInfo info = {};
    info.bytes[4] = 0x34;
    info.bytes[5] = 0x12;
    EXPECT_EQ(cpldField(info, cpld.pcbNumber), 0x1234);
}

TEST(Contract, RecordsAndFrames) {
    EXPECT_EQ(sizeof(CpldInfo), 64U);
    EXPECT_EQ(sizeof(BootParams), 256U);
    EXPECT_EQ(bootParamsMacOffset, 53U);
    EXPECT_EQ(bootParamsBoardTypeCodeOffset, 100U);
    EXPECT_EQ(macAddressBytes, 6U);

    const ReportRecord record = {0, 1, "A"};
    EXPECT_EQ(std::memcmp(&record, "\0\0\0\0\1\0\0\0A", 9), 0);
    EXPECT_EQ(reportTextBytes, 1024U);
    EXPECT_STREQ(reportPipePath, "/var/r8.fifo");

    const std::uint8_t frames[][8] = {{0xB5, 0x01, 0x07, 0x01, 0x00, 0x00, 0x00, 0xBE},
                                      {0xB5, 0x01, 0x09, 0x00, 0x03, 0x00, 0x00, 0xC2},
                                      {0xB5, 0x01, 0x08, 0x00, 0x01, 0x00, 0x00, 0xBF}};
    const std::uint8_t stop[] = {0xB5, 0x01, 0x14, 0x00, 0x00, 0x00, 0x00, 0xCA};
    const std::uint8_t reply[] = {0xBB, 0x20, 0x12, 0x11, 0x22};
    static_assert(sizeof Rs485TestFrames == sizeof frames && sizeof rs485StopFrame == sizeof stop &&
                  sizeof Rs485ExpectedReply == sizeof reply);
    EXPECT_EQ(std::memcmp(Rs485TestFrames, frames, sizeof frames), 0);
    EXPECT_EQ(std::memcmp(rs485StopFrame, stop, sizeof stop), 0);
    EXPECT_EQ(std::memcmp(Rs485ExpectedReply, reply, sizeof reply), 0);
    EXPECT_EQ(rs485ReplyLead, 0xAA);
}

TEST(Contract, PanelKeysAndFrames) {
    const char* const keys =
        "AN0 AN1 AN2 AN3 AN4 AN5 AN6 AN7 AN8 AN9 MENU ESC EDIT A VOIP PLAY REC PAN INFO # UP DOWN LEFT RIGHT "
        "AN10 AN11 AN12 AN13 AN14 AN15 AN16    ENTER POWER F1 F2 ";
    std::string names;
    for (const char* name : PanelKeyNames) {
        names += std::string(name) + " ";
    }
    EXPECT_EQ(names, keys);
    EXPECT_EQ(std::string(PanelKeyNames[10]) + PanelKeyNames[20] + PanelKeyNames[21], "MENUUPDOWN");
    EXPECT_EQ(menuKey, 10);
    EXPECT_EQ(upKey, 20);
    EXPECT_EQ(downKey, 21);
    EXPECT_EQ(panelCommandStart, 0xFE);
    EXPECT_EQ(panelEventStart, 0xFF);
    EXPECT_EQ(panelGreenLamps, 0xAA);
    EXPECT_EQ(panelRedLamps, 0x55);
    EXPECT_EQ(panelLampsCommand, 0x12);
    EXPECT_EQ(panelQueryCommand, 2);
    EXPECT_EQ(panelHeartbeatCommand, 6);
    EXPECT_EQ(panelLeastEventBytes, 4);
    EXPECT_EQ(panelMostEventBytes, 40);
    for (int type = 0; type < 256; ++type) {
        const bool isKnown = std::set<int>{0x20, 0x21, 0x22, 0x30}.count(type) != 0;
        EXPECT_EQ(isPanelEventType(static_cast<std::uint8_t>(type)), isKnown) << type;
    }
}

TEST(Contract, PortMultiplierAndDrives) {
    EXPECT_EQ(pmprwRequest, 0x197BU);
    EXPECT_EQ(pmprwRecordBytes, 16U);
    const std::size_t places[] = {pmRecord::controlLow, pmRecord::data,        pmRecord::target,
                                  pmRecord::command,    pmRecord::controlHigh, pmRecord::address};
    const std::size_t wantedPlaces[] = {1, 2, 6, 7, 9, 10};
    EXPECT_TRUE(std::equal(std::begin(places), std::end(places), std::begin(wantedPlaces)));
    EXPECT_EQ(static_cast<int>(PmAccessMode::registerRead), 0xE4);
    EXPECT_EQ(static_cast<int>(PmAccessMode::spiTransfer), 0xF7);
    EXPECT_EQ(pmRecord::targetBit | pmControlPort, 0x8F);
    const unsigned controls[] = {pmControl::readRegister, pmControl::writeEnable, pmControl::readStatus,
                                 pmControl::writeStatus,  pmControl::read,        pmControl::pageProgram,
                                 pmControl::chipErase};
    const unsigned wantedControls[] = {0x0084, 0x0006, 0x0805, 0x0401, 0xE903, 0xE502, 0x00C7};
    EXPECT_TRUE(std::equal(std::begin(controls), std::end(controls), std::begin(wantedControls)));
    const unsigned registers[] = {pmRegister::presence, pmRegister::revision, pmRegister::bondingLow,
                                  pmRegister::bondingHigh};
    const unsigned wantedRegisters[] = {0xFC00, 0xFC03, 0xFAFC, 0xFAFD};
    EXPECT_TRUE(std::equal(std::begin(registers), std::end(registers), std::begin(wantedRegisters)));
    const unsigned bytes[] = {pmChipId,         pmPresence1,      pmPresence2,
                              imageHeader::id0, imageHeader::id1, flashBusy};
    const unsigned wantedBytes[] = {0x32, 0x8F, 0xF8, 0x7B, 0x19, 0x01};
    EXPECT_TRUE(std::equal(std::begin(bytes), std::end(bytes), std::begin(wantedBytes)));
    const std::size_t header[] = {imageHeader::bytes,   imageHeader::revision,    imageHeader::chipId,
                                  imageHeader::bonding, imageHeader::lengthPartA, imageHeader::lengthPartB};
    const std::size_t wantedHeader[] = {32, 2, 3, 4, 8, 12};
    EXPECT_TRUE(std::equal(std::begin(header), std::end(header), std::begin(wantedHeader)));
    EXPECT_STREQ(firmwareImagePath, "/dav0/zor321.bin");

    EXPECT_EQ(ataIdentifyDevice, 0xEC);
    const std::size_t texts[] = {ataSerialNumber.offset,     ataSerialNumber.length,
                                 ataFirmwareRevision.offset, ataFirmwareRevision.length,
                                 ataModelNumber.offset,      ataModelNumber.length};
    const std::size_t wantedTexts[] = {20, 20, 46, 8, 54, 40};
    EXPECT_TRUE(std::equal(std::begin(texts), std::end(texts), std::begin(wantedTexts)));
}

}  // namespace
