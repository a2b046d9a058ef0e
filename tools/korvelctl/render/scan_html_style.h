// The style sheet of the scan report's page: light and dark by the reader's choice, one column on a phone,
// everything opened on paper. Only system fonts, so that the page needs nothing from outside.
#pragma once

namespace korvel::ctl {

inline constexpr char kScanHtmlStyle[] = R"css(
:root{color-scheme:light dark;--page:#f4f5f7;--card:#fff;--text:#1c2430;--soft:#5b6676;--line:#dfe3e9;
--good:#1e7d4a;--warn:#9a6200;--bad:#b42318;--s0:#7b8794;--s1:#4b7bab;--s2:#c98a06;--s3:#d9480f;--s4:#a50e2d}
@media (prefers-color-scheme:dark){:root{--page:#12161c;--card:#1b2129;--text:#e7ebf0;--soft:#9aa6b4;
--line:#2d3641;--good:#4cc38a;--warn:#f0b429;--bad:#ff7a6b;--s0:#7b8794;--s1:#6aa3d8;--s2:#e0a526;--s3:#ff8a4c;
--s4:#ff6b81}}
*{box-sizing:border-box}
body{margin:0;background:var(--page);color:var(--text);font:15px/1.5 system-ui,"Segoe UI",Roboto,"Helvetica Neue",
Arial,sans-serif}
main{max-width:60rem;margin:0 auto;padding:1.5rem 1rem 3rem}
h1{font-size:1.75rem;line-height:1.2;margin:.15rem 0 .35rem}
h2{font-size:1.05rem;margin:2rem 0 .6rem;display:flex;gap:.6rem;align-items:baseline}
h2 span{color:var(--soft);font-weight:400}
p{margin:.35rem 0}
.soft{color:var(--soft)}
.head{background:var(--card);border:1px solid var(--line);border-left:.4rem solid var(--soft);border-radius:.6rem;
padding:1.1rem 1.3rem}
.head.good{border-left-color:var(--good)}.head.warn{border-left-color:var(--warn)}
.head.bad{border-left-color:var(--bad)}
.good h1{color:var(--good)}.warn h1{color:var(--warn)}.bad h1{color:var(--bad)}
.kicker{color:var(--soft);font-size:.85rem;margin:0}
dl.facts{display:grid;grid-template-columns:repeat(auto-fill,minmax(11rem,1fr));gap:.6rem;margin:1rem 0 0}
dl.facts div{background:var(--card);border:1px solid var(--line);border-radius:.6rem;padding:.55rem .8rem}
dt{color:var(--soft);font-size:.8rem}
dd{margin:0;font-weight:600;overflow-wrap:anywhere;font-variant-numeric:tabular-nums}
.bar{display:flex;height:.9rem;border-radius:.45rem;overflow:hidden;background:var(--line);gap:2px}
.bar i{display:block;min-width:.5rem}
.key{display:flex;flex-wrap:wrap;gap:.2rem 1.1rem;margin:.5rem 0 0;padding:0;list-style:none;font-size:.9rem}
.key li::before{content:"";display:inline-block;width:.7rem;height:.7rem;border-radius:.2rem;margin-right:.4rem;
background:currentColor}
.key b{color:var(--text);font-variant-numeric:tabular-nums}
.key .c2{color:var(--s2)}
.key li span{color:var(--text)}
.b0{background:var(--s0)}.b1{background:var(--s1)}.b2{background:var(--s2)}.b3{background:var(--s3)}
.b4{background:var(--s4)}
.c0{color:var(--s0)}.c1{color:var(--s1)}.c2{color:var(--warn)}.c3{color:var(--s3)}.c4{color:var(--s4)}
details,.plain{background:var(--card);border:1px solid var(--line);border-radius:.6rem;margin:.5rem 0}
summary{cursor:pointer;padding:.6rem .9rem;display:grid;grid-template-columns:8.5rem minmax(0,1fr) auto;
gap:.1rem .8rem;align-items:baseline;list-style:none}
summary::-webkit-details-marker{display:none}
summary>b{overflow-wrap:anywhere}
summary .path{grid-column:2/-1}
.level{font-size:.8rem;font-weight:700;text-transform:uppercase;letter-spacing:.03em}
.level::before{content:"▸ "}
details[open]>summary .level::before{content:"▾ "}
.state{color:var(--soft);font-size:.9rem;white-space:nowrap}
.path,code{font-family:ui-monospace,"Cascadia Mono",Consolas,"DejaVu Sans Mono",monospace;font-size:.87em;
overflow-wrap:anywhere}
.path{color:var(--soft)}
.inside{border-top:1px solid var(--line);padding:.7rem .9rem}
.inside ul,.files{margin:.2rem 0;padding-left:1.1rem}
.inside li{margin:.35rem 0}
.files li{margin:.15rem 0}
.files .path{color:var(--text)}
table{border-collapse:collapse;width:100%;font-size:.93rem}
.plain{padding:.2rem .9rem;overflow-x:auto}
th::first-letter{text-transform:uppercase}
th{text-align:left;color:var(--soft);font-weight:400;font-size:.8rem}
th,td{padding:.4rem .8rem .4rem 0;border-bottom:1px solid var(--line);vertical-align:top}
tr:last-child td{border-bottom:0}
td.path{min-width:12rem}
td.time{white-space:nowrap;font-variant-numeric:tabular-nums}
footer{margin-top:2.5rem;border-top:1px solid var(--line);padding-top:.8rem;color:var(--soft);font-size:.85rem}
@media (max-width:34rem){main{padding:.8rem .6rem 2rem}h1{font-size:1.4rem}
summary{grid-template-columns:minmax(0,1fr) auto}summary>b{grid-column:1/-1;grid-row:2}
summary .path{grid-column:1/-1}.state{text-align:right}}
@media print{:root{--page:#fff;--card:#fff;--text:#000;--soft:#444;--line:#bbb;--good:#1e7d4a;--warn:#9a6200;
--bad:#b42318;--s0:#666;--s1:#37618c;--s2:#a06c00;--s3:#b93a08;--s4:#8f0c27}body{font-size:10pt}main{max-width:none;
padding:0}details::details-content{content-visibility:visible;display:block;block-size:auto}
.bar,.bar i,.key li::before{print-color-adjust:exact;-webkit-print-color-adjust:exact}
summary,tr,li{break-inside:avoid}h2{break-after:avoid}}
)css";

}  // namespace korvel::ctl
