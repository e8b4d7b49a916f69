// Times one transaction into a log file in the directory given and checks that it was written.
#include <fstream>
#include <iostream>
#include <string>

#include "tlm.h"

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  std::u16string logdir(argv[1], argv[1] + std::char_traits<char>::length(argv[1]));
  const ZUL_UTF16 *pairs[][2] = {{u"datasending_method", u"file"}, {u"logdir", logdir.c_str()}};
  TLM_ProcInitWithParam(u"Consumer", 0, 2, pairs);
  TLM_endTiming(TLM_startTiming(u"Consumer", u"run", 0));
  TLM_ProcExit();
  std::ifstream log(std::string(argv[1]) + "/Consumer_mtdata.log");
  std::string line;
  while (std::getline(log, line)) {
    if (line.find("Consumer|run:Avg. Elapsed Time(ms)") != std::string::npos) {
      std::cout << "consumer: timed through the installed tlm.so\n";
      return 0;
    }
  }
  return 1;
}
