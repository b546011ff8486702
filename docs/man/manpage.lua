-- Makes a tool's page in docs/ its manual page, so that the two cannot
-- drift: the title heading becomes NAME (with the summary given as
-- metadata) and DESCRIPTION, the sections below move up one level, and the
-- section about this project's own tests is left out. Tables become lists
-- (first column the term, the others after it), as a terminal is too
-- narrow for them.
local left_out = { ["Tests and the tour"] = true }

local function cell_text(cell)
  return pandoc.utils.blocks_to_inlines(cell.contents or cell[5])
end

local function table_as_list(tbl)
  local items = pandoc.List()
  for _, body in ipairs(tbl.bodies) do
    for _, row in ipairs(body.body) do
      local cells = row.cells or row[2]
      local term = cell_text(cells[1])
      for i = 2, #cells - 1 do
        local other = cell_text(cells[i])
        if #other > 0 then
          term:insert(pandoc.Str(", "))
          term:extend(other)
        end
      end
      items:insert({ term, { { pandoc.Plain(cell_text(cells[#cells])) } } })
    end
  end
  return pandoc.DefinitionList(items)
end

function Pandoc(doc)
  local blocks = pandoc.List()
  local skipping = false
  local summary = pandoc.utils.stringify(doc.meta.summary or "")
  for _, block in ipairs(doc.blocks) do
    if block.t == "Header" and block.level == 1 then
      local name = pandoc.utils.stringify(block)
      blocks:insert(pandoc.Header(1, "NAME"))
      blocks:insert(pandoc.Plain({ pandoc.RawInline("man", name .. " \\- " .. summary) }))
      blocks:insert(pandoc.Header(1, "DESCRIPTION"))
    elseif block.t == "Header" and block.level == 2 then
      skipping = left_out[pandoc.utils.stringify(block)] or false
      if not skipping then
        block.level = 1
        blocks:insert(block)
      end
    elseif block.t == "Table" and not skipping then
      blocks:insert(table_as_list(block))
    elseif not skipping then
      blocks:insert(block)
    end
  end
  return pandoc.Pandoc(blocks, doc.meta)
end
