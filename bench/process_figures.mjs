// What the kernel says of a process, and how a figure is printed.

import fs from 'node:fs/promises';

const kTicksASecond = 100; // USER_HZ, the same on every Linux that Debian runs on

export async function cpuSeconds(pid) {
  const stat = await fs.readFile(`/proc/${pid}/stat`, 'utf8');
  const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
  return (Number(fields[11]) + Number(fields[12])) / kTicksASecond;
}

export async function residentMb(pid) {
  const status = await fs.readFile(`/proc/${pid}/status`, 'utf8');
  return Number(/^VmRSS:\s+(\d+)/m.exec(status)[1]) / 1024;
}

/** How often its threads have gone to sleep, and so were woken, since it began. */
export async function wakeUps(pid) {
  let sum = 0;
  for (const thread of await fs.readdir(`/proc/${pid}/task`)) {
    const status = await fs.readFile(`/proc/${pid}/task/${thread}/status`, 'utf8');
    sum += Number(/^voluntary_ctxt_switches:\s+(\d+)/m.exec(status)[1]);
  }
  return sum;
}

/** One row of the table: a figure beside its limit, which may be empty. */
export function row(what, value, unit, limit) {
  const number = value.toFixed(value < 10 ? 2 : 1);
  console.log(`| ${what} | ${number} ${unit} | ${limit} |`);
}
