#include "service/CommandLine.h"

#include <gtest/gtest.h>


namespace {

using service::ParseServiceCommandLine;
using service::ServiceCommand;

TEST(ServiceCommandLine, MatchesWholeSwitchWordsIgnoringCaseAndFirstSwitchWins) {
  const struct {
    const wchar_t* arguments;
    ServiceCommand expected;
  } cases[] = {
      {L"", ServiceCommand::Run},
      {L"-Embedding", ServiceCommand::Run},
      {L"RegServer", ServiceCommand::Run},  // no introducer
      {L"/RegServer", ServiceCommand::RegServer},
      {L"-regserver", ServiceCommand::RegServer},
      {L"/UNREGSERVER", ServiceCommand::UnregServer},
      {L"/RegServerPerUser", ServiceCommand::RegServerPerUser},  // not the shorter RegServer
      {L"-unregserverperuser", ServiceCommand::UnregServerPerUser},
      {L"/Service", ServiceCommand::Service},
      {L"/Services", ServiceCommand::Run},
      {L"/Reg", ServiceCommand::Run},
      {L"-Embedding /service", ServiceCommand::Service},
      {L"/RegServer /UnregServer", ServiceCommand::RegServer},
      {L"/UnregServer\t/RegServer", ServiceCommand::UnregServer},
      {L"  -Service\r\n", ServiceCommand::Service},
      {L"--Service", ServiceCommand::Service},  // the second dash introduces the word
      {L"/", ServiceCommand::Run},
      {L"x -", ServiceCommand::Run},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ParseServiceCommandLine(c.arguments), c.expected) << "arguments: " << c.arguments;
  }
}

}  // namespace
