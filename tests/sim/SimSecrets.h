// SimSecrets: the desktop's store of passwords, in memory. A call that fails finds no store.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "SimLoop.h"
#include "ports/Secrets.h"

namespace pellora {

class SimSecrets final : public Secrets {
 public:
  explicit SimSecrets(SimLoop& loop) : loop_(loop) {}

  void LookUp(const SecretPlace& place, const std::string& user,
              std::function<void(std::optional<Login> login)> answered) override;
  void Store(const SecretPlace& place, const Login& login, std::function<void(bool stored)> answered) override;
  void Delete(const SecretPlace& place, const std::string& user) override;

  // For the test.
  std::map<SecretPlace, std::vector<Login>> stored;
  bool silent = false;  // never answers
  bool absent = false;
  int lookUps = 0;

 private:
  void Answer(std::function<void()> answer);

  SimLoop& loop_;
};

}  // namespace pellora
