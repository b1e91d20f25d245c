-- SPDX-License-Identifier: Apache-2.0
-- pandoc filter for the man page made from docs/diagpanel.md: a man page names itself and its
-- sections in capitals (DIAGPANEL, NAME, SYNOPSIS, ...), while the manual keeps its headings as
-- they read on the web; and its tables must fit a terminal of 80 columns.
local function upper(inlines)
  return pandoc.walk_inline(pandoc.Span(inlines), {
    Str = function(s) return pandoc.Str(s.text:upper()) end,
    Code = function(c) return pandoc.Str(c.text:upper()) end,
  }).content
end

function Header(h)
  if h.level == 1 then
    h.content = upper(h.content)
  end
  return h
end

function Meta(meta)
  if meta.title then
    meta.title = upper(meta.title)
  end
  return meta
end

-- pandoc gives a table the whole text width, which with tbl's gaps between columns is wider than
-- an 80-column terminal: take a tenth off each column.
function Table(tbl)
  for i, column in ipairs(tbl.colspecs) do
    local align, width = column[1], column[2]
    if type(width) == 'number' then
      tbl.colspecs[i] = {align, width * 0.9}
    end
  end
  return tbl
end
