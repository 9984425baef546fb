// Starts and stops a test BMC from the shell:
//   test_bmc_ctl start DIR [MODULE-OPTIONS]   prints the BMC's address;
//                                             DIR/serial_port names the TCP
//                                             port of its VM (KCS) interface
//   test_bmc_ctl restart DIR                  starts the BMC of DIR again,
//                                             on its address, port and state
//   test_bmc_ctl stop DIR
// DIR keeps the configuration, the state and the process ID.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <unistd.h>

#include "bmc/test_bmc.h"

int main(int argc, char* argv[])
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s start DIR [OPTIONS] | restart DIR | stop DIR\n", argv[0]);
        return 2;
    }
    const std::string sCommand = argv[1];
    const std::string sDirectory = argv[2];
    try {
        if (sCommand == "start") {
            valdrn_test::TestBmc bmc(argc > 3 ? argv[3] : "", sDirectory);
            // The TCP port of the VM serial (KCS) interface, for QEMU.
            valdrn_test::WriteFile(sDirectory + "/serial_port", std::to_string(bmc.SerialPort()) + "\n");
            valdrn_test::WriteFile(sDirectory + "/address", bmc.Address() + "\n");
            valdrn_test::WriteFile(sDirectory + "/pid", std::to_string(bmc.Detach()) + "\n");
            std::printf("%s\n", bmc.Address().c_str());
            return 0;
        }
        if (sCommand == "restart") {
            const std::string sAddress = valdrn_test::ReadFile(sDirectory + "/address");
            const int iPort = std::atoi(valdrn_test::ReadFile(sDirectory + "/serial_port").c_str());
            const auto pBmc = valdrn_test::TestBmc::Resume(sDirectory, sAddress.substr(0, sAddress.find('\n')), iPort);
            valdrn_test::WriteFile(sDirectory + "/pid", std::to_string(pBmc->Detach()) + "\n");
            std::printf("%s\n", pBmc->Address().c_str());
            return 0;
        }
        if (sCommand == "stop") {
            const pid_t pid = static_cast<pid_t>(std::atol(valdrn_test::ReadFile(sDirectory + "/pid").c_str()));
            if (pid <= 0 || kill(pid, SIGTERM) != 0) {
                std::fprintf(stderr, "no test BMC runs from %s\n", sDirectory.c_str());
                return 1;
            }
            for (int i = 0; i < 100 && kill(pid, 0) == 0; ++i) {
                usleep(20000);
            }
            return 0;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    std::fprintf(stderr, "unknown command %s\n", sCommand.c_str());
    return 2;
}
