#include "tests/support/ppd_builder.h"

std::string ppd_text(const PpdDescription& ppd) {
  std::string text =
      "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1.0\"\n"
      "*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n*PCFileName: \"K905.PPD\"\n"
      "*ShortNickName: \"K905\"\n*NickName: \"K905\"\n*PSVersion: \"(3010.000) 0\"\n"
      "*LanguageLevel: \"3\"\n*ColorDevice: True\n*DefaultColorSpace: RGB\n*FileSystem: False\n";
  if (ppd.product) {
    text += "*Product: \"" + *ppd.product + "\"\n";
  }
  if (ppd.manufacturer) {
    text += "*Manufacturer: \"" + *ppd.manufacturer + "\"\n";
  }
  if (ppd.model_name) {
    text += "*ModelName: \"" + *ppd.model_name + "\"\n";
  }
  for (const PpdGroup& group : ppd.groups) {
    text += "*OpenGroup: " + group.name + "/" + group.name + "\n";
    for (const PpdOption& option : group.options) {
      const std::string& keyword = option.keyword;
      const std::string& choice = option.default_choice;
      text.append("*OpenUI *").append(keyword).append("/").append(keyword).append(": PickOne\n");
      text.append("*Default").append(keyword).append(": ").append(choice).append("\n");
      text.append("*").append(keyword).append(" ").append(choice).append("/").append(choice);
      text.append(": \"\"\n*CloseUI: *").append(keyword).append("\n");
    }
    text += "*CloseGroup: " + group.name + "\n";
  }
  return text;
}
