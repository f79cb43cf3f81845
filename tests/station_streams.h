#pragma once

// Record streams as a board would send them.

#include <iconv.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace station_test {

inline std::string gbk(std::string utf8) {
    std::string bytes(utf8.size() + 1, '\0');
    const iconv_t converter = iconv_open("GBK", "UTF-8");
    char* in = utf8.data();
    char* out = bytes.data();
    size_t inLeft = utf8.size();
    size_t outLeft = bytes.size();
    const size_t result = iconv(converter, &in, &inLeft, &out, &outLeft);
    (void)iconv_close(converter);
    if (result == static_cast<size_t>(-1)) {
        throw std::runtime_error("no GBK for " + utf8);
    }
    bytes.resize(bytes.size() - outLeft);
    return bytes;
}

inline std::string header(uint32_t reserved, uint32_t length) {
    std::string bytes;
    for (const uint32_t word : {reserved, length}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(word >> shift & 0xFF);
        }
    }
    return bytes;
}

inline std::string record(const std::string& utf8) {
    const std::string text = gbk(utf8);
    return header(0, static_cast<uint32_t>(text.size())) + text;
}

inline std::string stream(const std::vector<std::string>& texts) {
    std::string bytes;
    for (const std::string& text : texts) {
        bytes += record(text);
    }
    return bytes;
}

// The records of a board that has everything, passes everything, and has an empty external drive port.
inline std::vector<std::string> healthyTexts() {
    const std::string rule = std::string(64, '-') + "\n";
    const std::string clock = "2026-11-22 10:00:02\n";
    const std::string system = "2026-11-22 10:00:00\n";
    return {"第1步:蜂鸣器测试",
            "\n",
            "第2步:网络状态\n",
            "网卡1:",
            "网络连接接通 \n",
            "全双工  ",
            "1000M\n",
            "网卡2:是POE网卡，不检测!\n",
            "\n",
            "报警输入有16个,报警输出有4个\n",
            "\n 断开报警输出时, 报警输入正常\n",
            "成功 5, 失败 0\n",
            "\n",
            "第3步:开始测试RTC\n",
            clock,
            system,
            clock,
            system,
            clock,
            system,
            "\n",
            "第4步:\nUSB口测试\n",
            "找到3.0USB\n",
            "/dev/msa1 剩余空间 = 3700M\n",
            "\n",
            "第5步:\nSATA硬盘测试\n",
            "设备有1个sata口\n",
            "/dev/sda",
            "\n序列号    :WD-1234             ",
            "\n型号      :GREEN 1TB           ",
            "\n固件版本  :01.0    ",
            "\n",
            "硬盘容量  :931GB\n",
            "/dev/sdf 不存在\n",
            "\n",
            "第6步:",
            "485测试\n请确认已经正确连接好485测试装置\n",
            "485测试成功\n",
            "\n",
            "第7步:CPLD信息\n",
            "=============== CPLD INFO ===============\n",
            "pcb:QM-0x4660\n",
            "CPLD Date:18年5月3日.\n",
            "USB个数:1\n",
            "设备类型:NVR\n",
            "\n",
            rule + "R8测试结果如下:\n",
            "USB口       : 1  \nSATA口      : 1  \n",
            "网络状态      : 成功  \n",
            "485口       : 成功  \n",
            "报警口      : 成功  \n",
            "USB口       : 成功  \n",
            "CPLD       : 成功  \n",
            "SATA口       : 成功  \n",
            "Rtc时钟       : 由检测人员判断  \n",
            rule,
            "R8测试结束\n",
            "R8TESTEND"};
}

}  // namespace station_test
