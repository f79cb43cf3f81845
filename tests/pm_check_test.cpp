// Test 10: what chip and image have to be before anything is written, and an image file that fails.

#include <optional>

#include "tests/pm_update.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace vboard;
using namespace pm;

TEST_F(PmFirmware, FailuresOfTheImageFileAreNamed) {
    const struct {
        Fault fault;
        const char* said;
    } cases[] = {
        {{"open", firmwareImagePath, 1}, "success!\nERR : open config binfile fail\n测试结果如下\n"},
        {{"lseek", firmwareImagePath, 1},
         "ERR : chkbinfile, length of binfile isn't alignment (-1)\nERR : main"},
        {{"pread", firmwareImagePath, 1}, "ERR : chkbinfile, read binfile fail (5)\nERR : main"},
        {{"read", firmwareImagePath, 1},
         "#1\n\nERR : verifycode, read binfile fail (00000000h)\nINFO: Total verify size = 0\n"
         "WRN : verifycode, verify not complete\nERR : main, verifycode fail\nINFO: Finish\n"},
        {{"read", firmwareImagePath, 3},
         "#1\n.\nERR : uploadcode, read binfile fail (00000200h)\nINFO: Total upload size = 512\n"
         "ERR : uploadcode, upload not complete\nERR : main, uploadcode fail\nINFO: Finish\n"},
        {{"read", firmwareImagePath, 5},  // everything is written, but was it the whole file?
         "#1\n...\nERR : uploadcode, read binfile fail (00000404h)\nINFO: Total upload size = 1028\n"
         "INFO: Upload complete\nERR : main, uploadcode fail\nINFO: Finish\n"},
    };
    for (const auto& [fault, said] : cases) {
        prepare(Held::older, 1028);
        board.settings.faults = {fault};
        const auto run = update();
        EXPECT_THAT(run.console(), HasSubstr(said));
        EXPECT_THAT(run.console(), EndsWith(failed));
        EXPECT_THAT(resets(run), IsEmpty());
    }
}

TEST_F(PmFirmware, WritesNothingUnlessChipAndImagePassedEveryCheck) {
    const auto with = [](std::size_t offset, std::uint8_t byte) {
        Bytes image = firmwareImage(smallImage, revision, bonding);
        image[offset] = byte;
        return image;
    };
    const std::string fewData = "ERR : chkbinfile, too few data when read binfile (< 32 bytes)\n";
    const std::string fileFails = "ERR : main, check binary file fail\nINFO: Finish\n";
    const struct {
        std::optional<Bytes> image;
        std::string said;
    } cases[] = {
        {std::nullopt, "ERR : open config binfile fail\n"},
        {Bytes(), chipLines + fewData + fileFails},
        {firmwareImage(28, revision, bonding), chipLines + fewData + fileFails},
        {firmwareImage(33, revision, bonding),
         chipLines + "ERR : chkbinfile, length of binfile isn't alignment (33)\n" + fileFails},
        {with(0, 0x7C), chipLines + "ERR : chkbinfile, binfile ID error (32h 197Ch)\n" + fileFails},
        {with(1, 0x0A), chipLines + "ERR : chkbinfile, binfile ID error (32h 0A7Bh)\n" + fileFails},
        {with(3, 0x31), chipLines + "ERR : chkbinfile, binfile ID error (31h 197Bh)\n" + fileFails},
        {with(4, 0x0E), chipLines + idLine + "INFO: Revision ID = 06h\n" +
                            "ERR : chkbinfile, bonding is mismatch (JMB39X = 0Dh, binfile = 0Eh)\n" +
                            fileFails},
        {with(8, 24),
         chipLines + suitsLines + "ERR : Binfine length is mismatch (exp: 44, act: 40)\n" + fileFails},
        {with(13, 0xFF),
         chipLines + suitsLines + "ERR : Binfine length is mismatch (exp: 65320, act: 40)\n" + fileFails},
    };
    for (const auto& [image, said] : cases) {
        prepare(Held::older);
        const Bytes before = chip->flash.array;
        board.firmware.content = image;
        const auto run = update();
        EXPECT_EQ(run.console(), startLines + said + failed);
        EXPECT_EQ(chip->requests.count(pmControl::writeEnable), 0U);
        EXPECT_EQ(chip->flash.array, before);
        EXPECT_THAT(resets(run), IsEmpty());
    }
}

TEST_F(PmFirmware, TakesTheChipsOwnFactsAsTheyCome) {
    prepare(Held::blank);
    chip->registers[pmRegister::presence] = 0xF8;
    chip->registers[pmRegister::bondingHigh] = 0x43;  // 0x10C: what exceeds eight bits falls away
    EXPECT_THAT(update().console(), EndsWith(passed));

    chip->registers[pmRegister::bondingLow] = 0x0D;  // bits that both bytes have are no carry
    chip->registers[pmRegister::bondingHigh] = 0x03;
    EXPECT_THAT(update().console(), EndsWith(passed));

    chip->registers[pmRegister::presence] = 0x7F;
    EXPECT_EQ(update().console(), startLines +
                                      "ERR : JMB39X device doesn't exist (0000007Fh)\n"
                                      "ERR : main, check 39x device fail\nINFO: Finish\n" +
                                      failed);

    chip->registers[pmRegister::presence] = 0x8F;  // another revision than the image's only warns
    board.firmware.content = firmwareImage(smallImage, 0x05, bonding);
    const auto run = update();
    EXPECT_THAT(run.console(),
                HasSubstr("WRN : chkbinfile, revision ID is mismatch (JMB39X = 06h, binfile = 05h)\n"
                          "      continue!INFO: Bonding = 0Dh\n"));
    EXPECT_THAT(run.console(), EndsWith(resetLine + passed));
    EXPECT_TRUE(flashIsImage());

    prepare(Held::blank);  // a driver's answers other than 0 are its own; 1 ends the update well
    chip->requestValue = 1;
    EXPECT_THAT(update().console(), EndsWith("bytes\nINFO: Finish\n" + passed));
    EXPECT_EQ(chip->requestCount(), 4U);
    chip->requestValue = 7;
    EXPECT_THAT(update().console(), EndsWith(passed));
    EXPECT_TRUE(flashIsImage());
}
