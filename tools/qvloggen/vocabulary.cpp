#include "vocabulary.h"

#include <algorithm>

#include "storage/crc.h"

namespace quern::qvloggen {

namespace {

constexpr std::string_view kEnglish[] = {
    "the", "report", "quarterly", "meeting", "budget", "server", "network", "customer", "invoice", "project",
    "deadline", "schedule", "contract", "review", "update", "security", "password", "account", "travel", "hotel",
    "flight", "order", "shipment", "price", "discount", "product", "release", "version", "design", "draft",
    "summary", "analysis", "market", "sales", "revenue", "forecast", "team", "lunch", "holiday", "weather",
    "news", "football", "music", "video", "download", "upload", "backup", "database", "cloud", "storage",
    "printer", "office", "building", "parking", "training", "course", "exam", "result", "salary", "bonus",
    "policy", "audit", "compliance", "license", "support", "ticket", "issue", "error", "login", "access",
    "phone", "mobile", "camera", "photo", "album", "recipe", "coffee", "tea", "book", "library",
    "please", "confirm", "attached", "regards", "thanks", "urgent", "tomorrow", "today", "monday", "friday",
    "and", "for", "with", "from", "about", "new", "final", "second", "shared", "private"};

constexpr std::string_view kChinese[] = {
    "会议", "报告", "季度", "预算", "服务器", "网络", "客户", "发票", "项目", "截止日期",
    "合同", "审核", "更新", "安全", "密码", "账户", "出差", "酒店", "航班", "订单",
    "价格", "折扣", "产品", "发布", "版本", "设计", "草稿", "总结", "分析", "市场",
    "销售", "收入", "预测", "团队", "午餐", "假期", "天气", "新闻", "足球", "音乐",
    "视频", "下载", "上传", "备份", "数据库", "云存储", "打印机", "办公室", "培训", "考试",
    "工资", "奖金", "政策", "合规", "许可证", "技术支持", "问题", "错误", "登录", "手机",
    "照片", "咖啡", "图书馆", "请确认", "附件", "谢谢", "紧急", "明天", "今天", "周一",
    "北京", "上海", "深圳", "广州", "杭州", "成都", "公司", "部门", "经理", "同事"};

constexpr std::string_view kGiven[] = {
    "wei", "fang", "na", "min", "jing", "li", "qiang", "lei", "jun", "yang", "yan", "jie", "tao", "ming", "chao",
    "xiu", "hui", "ping", "gang", "hong", "alice", "bob", "carol", "david", "emma", "frank", "grace", "henry",
    "irene", "jack", "kate", "leo", "mary", "nick", "olivia", "peter", "rose", "sam", "tina", "victor"};

constexpr std::string_view kFamily[] = {
    "zhang", "wang", "li", "liu", "chen", "yang", "huang", "zhao", "wu", "zhou", "xu", "sun", "ma", "zhu", "hu",
    "guo", "he", "gao", "lin", "luo", "smith", "jones", "brown", "taylor", "wilson", "evans", "clark", "lewis"};

constexpr std::string_view kDepartments[] = {
    "Headquarters", "Sales", "Marketing", "Engineering", "Finance", "Human Resources", "Legal", "Support",
    "Research", "Operations", "East", "West", "North", "South", "Team A", "Team B", "Team C", "Lab",
    "销售部", "市场部", "研发中心", "财务部", "人力资源部", "法务部", "客服中心", "华东区", "华南区", "北京分公司",
    "上海分公司", "一组", "二组", "三组", "测试组", "运维组"};

constexpr std::string_view kDomains[] = {
    "www.baidu.com", "www.qq.com", "mail.163.com", "www.taobao.com", "www.sina.com.cn", "www.google.com",
    "www.bing.com", "mail.qq.com", "www.jd.com", "www.zhihu.com", "www.bilibili.com", "www.youtube.com",
    "news.sohu.com", "www.weibo.com", "outlook.office.com", "github.com", "www.ctrip.com", "pan.baidu.com",
    "www.douban.com", "www.amazon.com", "stackoverflow.com", "www.wikipedia.org", "www.apple.com",
    "intranet.example.cn", "oa.example.cn", "hr.example.cn", "www.12306.cn", "www.gov.cn", "www.xinhuanet.com",
    "www.ifeng.com", "www.cnblogs.com", "www.csdn.net", "www.iqiyi.com", "www.youku.com", "www.dianping.com",
    "www.meituan.com", "map.baidu.com", "translate.google.com", "www.linkedin.com", "www.reddit.com"};

constexpr std::string_view kExtensions[] = {"doc", "docx", "xls", "xlsx", "pdf", "zip", "rar", "jpg", "png",
                                            "txt", "ppt", "pptx", "exe", "mp4", "csv"};

constexpr std::string_view kWebApps[] = {"网页浏览", "网页邮件", "新闻资讯", "网上购物", "视频网站", "社交网站",
                                         "搜索门户", "网盘", "在线地图", "论坛"};
constexpr std::string_view kMailApps[] = {"SMTP", "POP3", "IMAP", "Exchange"};
constexpr std::string_view kChatApps[] = {"QQ", "WeChat", "DingTalk", "Skype", "Telegram"};
constexpr std::string_view kSearchApps[] = {"Baidu Search", "Google Search", "Bing Search", "Sogou Search"};
constexpr std::string_view kFileApps[] = {"FTP", "Netdisk Upload", "HTTP Upload", "USB Copy"};

constexpr Service kServices[] = {
    {kResHttpApp, Traffic::Web, kWebApps},         {kResMail, Traffic::Mail, kMailApps},
    {"即时通讯", Traffic::Chat, kChatApps},         {"搜索引擎", Traffic::Search, kSearchApps},
    {"文件传输", Traffic::File, kFileApps},         {"Web Browsing", Traffic::Web, kWebApps},
    {"Instant Messaging", Traffic::Chat, kChatApps}, {"File Transfer", Traffic::File, kFileApps},
};

}  // namespace

std::span<const std::string_view> englishWords() { return kEnglish; }
std::span<const std::string_view> chineseWords() { return kChinese; }
std::span<const std::string_view> givenNames() { return kGiven; }
std::span<const std::string_view> familyNames() { return kFamily; }
std::span<const std::string_view> departments() { return kDepartments; }
std::span<const std::string_view> domains() { return kDomains; }
std::span<const std::string_view> fileExtensions() { return kExtensions; }
std::span<const Service> services() { return kServices; }

std::vector<std::string_view> appNames() {
  std::vector<std::string_view> names;
  for (const Service& service : kServices) {
    for (const std::string_view app : service.apps) {
      if (std::find(names.begin(), names.end(), app) == names.end()) names.push_back(app);
    }
  }
  return names;
}

uint32_t labelCrc(std::string_view label) {
  static const CCrc crc;
  return crc.compute(label.data(), static_cast<uint32_t>(label.size()));
}

}  // namespace quern::qvloggen
